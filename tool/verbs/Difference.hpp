#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "verbs/PackageDigest.hpp"

namespace bex::tool {

enum class Change { added, removed, changed };

/// One field, member, control member or entry in which two packages differ.
struct Difference {
    enum class Kind { member, field, controlMember, entry };

    /// One attribute of it, as text of both sides.
    struct Detail {
        /// "value", "compression", "type", "size", "mode", "owner", "time", "target" or "contents"
        std::string what;
        std::string before;
        std::string after;
    };

    Kind kind;
    Change change;
    std::string name;  ///< of the field, or the plain path; "." for the root
    std::vector<Detail> details;

    /// The contents of both sides, where they differ and both are text.
    std::optional<std::pair<TextSpool::Place, TextSpool::Place>> texts;
};

/// What is compared.
struct ComparisonRequest {
    bool members = true;
    bool fields = true;
    bool times = false;
};

/// What compare() found.
struct Comparison {
    /// Members, fields in the order of the first package, then control members and entries by path.
    std::vector<Difference> differences;
    std::size_t timesAlone =
        0;  ///< entries that differ in their time and in nothing else, where times do not count
};

Comparison compare(const PackageDigest& before, const PackageDigest& after, const ComparisonRequest& request);

const char* nameOf(Difference::Kind kind) noexcept;
const char* nameOf(Change change) noexcept;

}  // namespace bex::tool
