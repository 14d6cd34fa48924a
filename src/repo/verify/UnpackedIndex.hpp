#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bex/repo/PackageRecord.hpp"
#include "bex/stream/Compression.hpp"
#include "bex/stream/Limits.hpp"
#include "repo/index/Release.hpp"
#include "stream/system/ByteStream.hpp"

namespace bex::repo {

/// What an index unpacks to. The text itself is not kept: an index may be longer than the memory.
struct UnpackedIndex {
    IndexedFile plain;  ///< as far as it was read
    std::vector<PackageRecord> records;
    std::string stanzaFault;  ///< why the records end before the text; "" where they do not
};

/// Where an index is, and how it is read.
struct IndexSource {
    stream::ByteStream& bytes;
    stream::Compression compression;
    std::string name;    ///< in messages
    bool isPackages;     ///< it has records
    std::uint64_t most;  ///< reading ends when the text is longer
    stream::Limits limits;
};

/// Throws StreamError: what the source throws, `damaged`, and `limitExceeded` for a stanza or a compressor's
/// window that takes too much memory.
UnpackedIndex unpack(const IndexSource& source);

}  // namespace bex::repo
