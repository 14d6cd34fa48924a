#include "stream/reader/EntryReader.hpp"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace bex::stream {

namespace {

/// Hands what comes out of another decompressor to a sink, too. Skips no byte unread: the copy needs every one.
class CopiedDecompressor final : public ForwardDecompressor {
public:
    CopiedDecompressor(std::unique_ptr<Decompressor> inner, Sink& copy) : inner_(std::move(inner)), copy_(copy) {}

    std::shared_ptr<const void> hold() override { return inner_->hold(); }

    /// Whether the last piece threw: then nothing can follow it.
    bool failed() const noexcept { return failed_; }

private:
    std::string_view nextPiece() override {
        failed_ = true;
        const std::string_view bytes = inner_->next();
        copy_.write(bytes.data(), bytes.size());
        failed_ = false;
        return bytes;
    }

    const std::unique_ptr<Decompressor> inner_;
    Sink& copy_;
    bool failed_ = false;
};

std::unique_ptr<Decompressor> unpack(ByteStream& contents, Compression compression,
                                     const EntryReaderSettings& settings, const Place& place,
                                     IndexCheck* indexCheck) {
    DecompressionSettings unpacking = settings.unpacking;
    if (indexCheck != nullptr) {
        unpacking.watch = &indexCheck->watch();
    }
    std::unique_ptr<Decompressor> bytes = openDecompressor(contents, compression, place, unpacking);
    if (settings.copy != nullptr) {
        return std::make_unique<CopiedDecompressor>(std::move(bytes), *settings.copy);
    }
    return bytes;
}

/// Only gzip has an index.
std::unique_ptr<IndexCheck> makeIndexCheck(Compression compression, const EntryReaderSettings& settings,
                                           const Place& place) {
    if (!settings.checkIndex || compression != Compression::gzip) {
        return nullptr;
    }
    return std::make_unique<IndexCheck>(settings.unpacking.limits, place);
}

void drain(Decompressor& bytes) {
    while (!bytes.next().empty()) {
    }
}

/// Gives the check the entries of an archive that is copied as it is. Returns the reason where they cannot be read
/// to the end: a copy is made of such an archive, too, and the rest of it is still to be copied.
std::optional<std::string> addEntries(CopiedDecompressor& bytes, const Limits& limits, const Place& place,
                                      IndexCheck& check) {
    // Without the handler: what it is to hear of entries comes from those who read them.
    TarReader tar(bytes, limits, Place(place.package()));
    try {
        for (Entry entry; tar.next(entry);) {
            check.add(entry, tar.extent());
        }
    } catch (const StreamError& failure) {
        if (bytes.failed()) {
            throw;
        }
        return failure.record().reason;
    }
    return std::nullopt;
}

}  // namespace

EntryReader::EntryReader(ByteStream& contents, Compression compression, const EntryReaderSettings& settings,
                         const Place& place)
    : indexCheck_(makeIndexCheck(compression, settings, place)),
      bytes_(unpack(contents, compression, settings, place, indexCheck_.get()), settings.bytesLimit, place),
      tar_(bytes_, settings.unpacking.limits, place),
      policy_(settings.unpacking.limits, place) {}

void copyTar(ByteStream& contents, Compression compression, const EntryReaderSettings& settings,
             const Place& place, Sink& out) {
    const std::unique_ptr<IndexCheck> indexCheck = makeIndexCheck(compression, settings, place);
    auto bounded = std::make_unique<BoundedDecompressor>(
        unpack(contents, compression, settings, place, indexCheck.get()), settings.bytesLimit, place);
    CopiedDecompressor bytes(std::move(bounded), out);
    if (indexCheck == nullptr) {
        drain(bytes);
        return;
    }
    const std::optional<std::string> unreadable = addEntries(bytes, settings.unpacking.limits, place, *indexCheck);
    if (unreadable) {
        drain(bytes);
        indexCheck->refuseUncompared(*unreadable);
    } else {
        indexCheck->finish();
    }
}

bool EntryReader::next(Entry& entry) {
    if (!tar_.next(entry)) {
        // Only at the end: the index comes after the archive and is then complete.
        if (indexCheck_) {
            indexCheck_->finish();
        }
        return false;
    }
    if (indexCheck_) {
        // Before the policy, which may throw: the index describes the archive as it is.
        indexCheck_->add(entry, tar_.extent());
    }
    policy_.check(entry);
    return true;
}

}  // namespace bex::stream
