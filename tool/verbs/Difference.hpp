#pragma once

#include <string>
#include <vector>

#include "verbs/PackageDigest.hpp"

namespace bex::tool {

enum class Change { added, removed, changed };

/// One field, control member or entry in which two packages differ.
struct Difference {
    enum class Kind { field, controlMember, entry };

    /// One attribute of it, as text of both sides.
    struct Detail {
        std::string what;  ///< "value", "type", "size", "mode", "owner", "time", "target" or "contents"
        std::string before;
        std::string after;
    };

    Kind kind;
    Change change;
    std::string name;  ///< of the field, or the plain path; "." for the root
    std::vector<Detail> details;

    /// Whether this is a regular file on both sides and its bytes differ.
    bool contentsDiffer() const;
};

/// All differences: fields in the order of the first package, then control members and entries by path.
std::vector<Difference> compare(const PackageDigest& before, const PackageDigest& after);

const char* nameOf(Difference::Kind kind) noexcept;
const char* nameOf(Change change) noexcept;

}  // namespace bex::tool
