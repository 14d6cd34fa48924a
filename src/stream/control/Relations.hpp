#pragma once

#include <string>
#include <string_view>

namespace bex::stream {

/// What a relationship field may hold beyond names and versions.
struct RelationRules {
    bool alternatives = true;  ///< "a | b"
    bool exactOnly = false;    ///< no relation to a version but "="
};

/// What keeps the value from being a list of relations to packages such as "libc6 (>= 2.36), mail | exim4:any"
/// (Debian Policy 7.1, as binary packages have it), as the rest of a sentence; empty when it is one. Refuses
/// what dpkg refuses, and what it takes with a warning: "<", ">" and versions without a relation.
std::string relationsFault(std::string_view value, const RelationRules& rules);

}  // namespace bex::stream
