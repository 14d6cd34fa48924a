#include "repo/verify/UnpackedIndex.hpp"

#include <memory>
#include <string_view>

#include "bex/repo/RecordReader.hpp"
#include "repo/base/Failure.hpp"
#include "repo/base/Hasher.hpp"
#include "stream/codec/Decompressor.hpp"

namespace bex::repo {

namespace {

/// The text, piece by piece, and what Release should say of it.
class IndexReading {
public:
    explicit IndexReading(const IndexSource& source)
        : most_(source.most),
          decompressor_(stream::openDecompressor(source.bytes, source.compression, stream::Place(source.name),
                                                 settingsOf(source))) {}

    std::size_t read(char* buffer, std::size_t size) {
        if (piece_.empty()) {
            next();
        }
        const std::size_t count = piece_.copy(buffer, size);
        piece_.remove_prefix(count);
        return count;
    }

    /// Reads what nobody wanted to have.
    IndexedFile finish() {
        do {
            next();
        } while (!piece_.empty());
        return {hasher_.finish().sha256, size_};
    }

private:
    static stream::DecompressionSettings settingsOf(const IndexSource& source) {
        stream::DecompressionSettings settings;
        settings.limits = source.limits;
        return settings;
    }

    void next() {
        piece_ = {};
        if (size_ <= most_) {
            piece_ = decompressor_->next();
            hasher_.update(piece_);
            size_ += piece_.size();
        }
    }

    std::uint64_t most_;
    std::unique_ptr<stream::Decompressor> decompressor_;
    std::string_view piece_;
    Hasher hasher_;
    std::uint64_t size_ = 0;
};

}  // namespace

UnpackedIndex unpack(const IndexSource& source) {
    UnpackedIndex index;
    IndexReading reading(source);
    if (source.isPackages) {
        RecordReader reader([&](char* buffer, std::size_t size) { return reading.read(buffer, size); },
                            source.name);
        try {
            for (PackageRecord record; reader.next(record);) {
                index.records.push_back(record);
            }
        } catch (const StreamError& error) {
            // Of the text and not of the reading below it: those errors concern the file, not a stanza.
            if (error.code() != "stanza" && error.code() != "unsafe-filename" && error.code() != "limit") {
                throw;
            }
            index.stanzaFault = error.record().reason;
        }
    }
    index.plain = reading.finish();
    return index;
}

}  // namespace bex::repo
