#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "archive/Handles.hpp"
#include "archive/OwnedFiles.hpp"

namespace bex {

/// Returns the most bytes that `compressed` bytes of gzip can hold: deflate reaches 1032 to 1 (zlib's technical
/// details). The constant is a margin for very short sources.
constexpr std::uint64_t expandedLimit(std::uint64_t compressed) {
    return 1032 * compressed + 1024;
}

/// Reads the entries of an opened handle into records. Trusts no size that the archive claims. Reports every
/// failure as a BexException, and leaves the handle open.
class EntryReader {
public:
    /// `limit` is how many bytes all entries together can hold. Without it, the bytes that the source has
    /// delivered so far are the limit. The handle must outlive the reader.
    EntryReader(archive* a, std::optional<std::uint64_t> limit) : archive_(a), limit_(limit) {}

    /// Returns the next entry, or null at the end and at a header that cannot be read.
    OwnedFile next();

private:
    /// The bytes of an entry while its blocks are read. Blocks may come in any order; holes become zeros.
    struct Bytes {
        std::unique_ptr<char[]> data;
        std::uint64_t room = 0;
        std::uint64_t filled = 0;  ///< every byte before this one has its value
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
