#pragma once

#include <map>
#include <memory>
#include <string>

#include "bex/stream/Entry.hpp"

namespace bex::stream {

/// Keeps hard links whole where some names of a file are left out: the first name that stays becomes the file.
/// Every entry is shown twice, in order. Memory grows with the entries that are left out.
class KeptLinks {
public:
    /// The first time.
    void see(const Entry& entry, bool kept);

    /// The second time: changes the entry to what it becomes; false where there is nothing to add.
    bool apply(Entry& entry, bool kept) const;

    /// Whether the path, in plainPath() form, is left out.
    bool leavesOut(const std::string& path) const { return leftOut_.count(path) != 0; }

private:
    /// The path that a hard link to one that is left out leads to instead; "" while there is none.
    using Heir = std::shared_ptr<std::string>;

    std::map<std::string, Heir> leftOut_;  // by plain path
};

}  // namespace bex::stream
