#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "bex/stream/Attributes.hpp"
#include "bex/stream/Entry.hpp"
#include "buildfile/model/Description.hpp"

namespace bex::buildfile {

/// An entry of the package to be.
struct Item {
    stream::EntryType type = stream::EntryType::file;
    std::string source;  ///< on this machine; of a symlink what it leads to
    std::string linkTo;  ///< the path in the package of another name of the same file; "" for none
    stream::Attributes attributes;
    bool isConffile = false;
    bool isNamed = false;  ///< by a line of its own, which nothing replaces
    Spot at;               ///< of the line that brought it
};

/// The attributes of an entry on disk, with the umask, or what the line says instead.
stream::Attributes attributesOnDisk(const Content& line, const stream::Entry& entry, std::uint32_t umask);

/// The owner and the time of an entry that is not on disk; `mtime` is for a line without one.
stream::Attributes attributesOfNew(const FileInfo& info, std::optional<std::int64_t> mtime);

/// Changes the item as a line without src says. Returns false and changes nothing if the line makes conffiles and
/// the item is not a regular file.
bool refineItem(Item& item, const Content& line);

/// Whether the item belongs to somebody whose number only the installing system knows.
bool hasNamedOwner(const Item& item);

/// Whether both items can be names of one file. Later lines may have replaced either or changed its attributes.
bool areOneFile(const Item& left, const Item& right);

}  // namespace bex::buildfile
