#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Relation.hpp"

namespace bex::stream {

/// In the order of VersionOperator.
inline constexpr std::array<std::string_view, 5> kVersionSigns{"<<", "<=", "=", ">=", ">>"};

/// What a dependency field may hold beyond names and versions.
struct RelationRules {
    bool alternatives = true;  ///< "a | b"
    bool qualifiers = true;    ///< "a:any"
    bool exactOnly = false;    ///< no comparison of versions but "="
    bool versionNeeded = false;
};

inline constexpr RelationRules kDependsRules{};
inline constexpr RelationRules kConflictsRules{false, true, false, false};
inline constexpr RelationRules kProvidesRules{false, true, true, false};
inline constexpr RelationRules kBuiltUsingRules{false, false, true, true};

/// The relations of a value, or why it has none.
struct RelationList {
    std::vector<Alternatives> groups;
    /// The rest of a sentence about the value; empty when `groups` holds all of it.
    std::string fault;
};

/// Reads a list of relations such as "libc6 (>= 2.36), mail | exim4:any" (Debian Policy 7.1, for binary packages).
/// Refuses what dpkg refuses, and what it accepts with a warning: "<", ">" and versions without an operator.
RelationList readRelations(std::string_view value, const RelationRules& rules);

/// What keeps the value from being a dependency field of a sound package, as the rest of a sentence: a fault of
/// readRelations(), or a name or an architecture that no package can have.
std::string relationsFault(std::string_view value, const RelationRules& rules);

}  // namespace bex::stream
