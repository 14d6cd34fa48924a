#include "stream/verify/FileSums.hpp"

#include <algorithm>
#include <utility>

namespace bex::stream {

namespace {

/// Empty files take no bytes, but memory all the same.
constexpr std::size_t kMostParts = 1024;

/// Unpacking takes longer than summing, and has as many threads as are allowed.
unsigned summingThreads(unsigned threads) {
    return threads <= 2 ? threads : threads / 2 + 1;
}

}  // namespace

std::function<void(FileSums::Batch&)> FileSums::makeWork() {
    auto lanes = std::make_shared<Md5Lanes>();
    lanes->reserve(kMostParts);
    return [lanes](Batch& batch) { sumUp(batch, *lanes); };
}

FileSums::FileSums(unsigned threads, Taker take)
    : take_(std::move(take)), pool_(summingThreads(threads), jobsInFlight(summingThreads(threads)), makeWork) {}

/// Throws nothing, so that nobody waits for a part that never comes: there is room for all parts of a batch.
void FileSums::sumUp(Batch& batch, Md5Lanes& lanes) {
    for (Part& part : batch.parts) {
        if (part.whole != nullptr) {
            addPart(batch, part);
        } else if (part.contents.pieces > 1) {
            Md5 sum;
            batch.bytes.forEach(part.contents,
                                [&sum](std::string_view bytes) { sum.update(bytes.data(), bytes.size()); });
            part.digest = sum.hex();
        } else {
            // All of the file in one piece: side by side with others.
            std::string_view all;
            batch.bytes.forEach(part.contents, [&all](std::string_view bytes) { all = bytes; });
            lanes.add(all, part.digest);
        }
    }
    lanes.finish();
    // The owners of the bytes need not wait for the batch to be taken.
    batch.bytes.clear();
}

void FileSums::addPart(const Batch& batch, Part& part) {
    // Earlier parts are in earlier batches, which were submitted before and are being summed; none of them ever
    // fails.
    part.whole->waitFor(part.offset, batch.number);
    Md5& sum = part.whole->sum;
    batch.bytes.forEach(part.contents, [&sum](std::string_view bytes) { sum.update(bytes.data(), bytes.size()); });
    if (part.last) {
        part.digest = sum.hex();
    }
    part.whole->pass(part.size);
}

/// The batch that is being filled.
FileSums::Batch& FileSums::batch() {
    if (!filling_) {
        // Before next(), which exists only while the pool has room. Batches that are done are taken at once.
        while (pool_.full() || (!pool_.empty() && pool_.ready())) {
            takeOldest();
        }
        Batch& fresh = pool_.next();
        fresh.number = submitted_;
        fresh.parts.clear();
        filling_ = true;
    }
    return pool_.next();
}

/// The current file's part in that batch.
FileSums::Part& FileSums::part() {
    Batch& batch = this->batch();
    if (!begun_) {
        Part& fresh = batch.parts.emplace_back();
        fresh.contents = batch.bytes.begin();
        fresh.offset = offset_;
        fresh.whole = whole_;
        begun_ = true;
    }
    // The current part is the last one: batches are filled file by file.
    return batch.parts.back();
}

void FileSums::add(Piece piece) {
    // Each round fills a part of a batch: at least one byte, as full batches are submitted at once.
    while (!piece.bytes.empty()) {
        Part& part = this->part();
        Batch& batch = this->batch();
        const std::size_t size = std::min(piece.bytes.size(), kBatchBytes - batch.bytes.size());
        batch.bytes.add({piece.bytes.substr(0, size), piece.owner}, part.contents);
        part.size += size;
        piece.bytes.remove_prefix(size);
        if (batch.bytes.size() == kBatchBytes) {
            submit();
        }
    }
}

void FileSums::endFile() {
    // part() makes one for an empty file, too.
    part().last = true;
    begun_ = false;
    offset_ = 0;
    whole_.reset();
    if (batch().parts.size() >= kMostParts || batch().bytes.crowded()) {
        submit();
    }
}

/// A file that has not ended goes on in the next batch.
void FileSums::submit() {
    if (begun_) {
        // part() was called for the batch being filled, and begun_ says that the part is of the current file.
        Part& cut = pool_.next().parts.back();
        // The first cut: from here on the file's parts share one sum.
        if (whole_ == nullptr) {
            whole_ = std::make_shared<OrderedSum>();
            cut.whole = whole_;
        }
        offset_ += cut.size;
        begun_ = false;
    }
    pool_.submit();
    ++submitted_;
    filling_ = false;
}

void FileSums::finish() {
    if (filling_) {
        submit();
    }
    while (!pool_.empty()) {
        takeOldest();
    }
}

/// Goes on behind the last part that was taken, if `take_` threw.
void FileSums::takeOldest() {
    Batch& batch = pool_.front();
    while (taken_ < batch.parts.size()) {
        const Part& part = batch.parts[taken_];
        // Before the call: if it throws, the part is not taken again.
        ++taken_;
        if (part.last) {
            take_(part.digest.data());
        }
    }
    taken_ = 0;
    pool_.pop();
}

}  // namespace bex::stream
