#pragma once

#include <cstdint>
#include <string>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Entry.hpp"

namespace bex::stream {

/// One member of the ar archive.
struct Member {
    std::string name;          ///< such as "data.tar.gz"
    std::uint64_t offset = 0;  ///< of its contents in the package file
    std::uint64_t size = 0;    ///< of its contents as stored
    std::int64_t mtime = 0;
    Compression compression = Compression::none;
};

/// One file of the control archive, with its contents.
struct ControlMember {
    Entry entry;  ///< its path as stored: "./control" or "control"
    std::string contents;
};

}  // namespace bex::stream
