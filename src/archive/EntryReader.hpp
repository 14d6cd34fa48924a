#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "archive/Handles.hpp"
#include "archive/OwnedFiles.hpp"

namespace bex {

/// The most bytes that `compressed` bytes of gzip can hold: deflate's best is 1032 to 1 (zlib's technical
/// details). The rest keeps very short sources from being cut too close.
constexpr std::uint64_t expandedLimit(std::uint64_t compressed) {
    return 1032 * compressed + 1024;
}

/// Reads the entries of an opened handle into records, believing no size that it reads. Every failure is a
/// BexException.
class EntryReader {
public:
    /// `limit` is what all entries together can hold; without it, what the source has given so far is the
    /// measure. The handle has to outlive the reader.
    EntryReader(archive* a, std::optional<std::uint64_t> limit) : archive_(a), limit_(limit) {}

    /// The next entry, or null at the end, which a header that can't be read is too.
    OwnedFile next();

private:
    /// An entry's bytes while its blocks come in, in any order and with holes, which become zeros.
    struct Bytes {
        std::unique_ptr<char[]> data;
        std::uint64_t room = 0;
        std::uint64_t filled = 0;  ///< up to here every byte has its value
    };

    std::uint64_t left() const;
    std::unique_ptr<char[]> readBytes(std::uint64_t size) const;
    bool readBlock(Bytes& bytes, std::uint64_t size) const;
    static void fillHole(Bytes& bytes, std::uint64_t end);
    void grow(Bytes& bytes, std::uint64_t needed, std::uint64_t size) const;

    archive* archive_;
    std::optional<std::uint64_t> limit_;
    std::uint64_t spent_ = 0;
};

}  // namespace bex
