#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Export.hpp"
#include "bex/stream/Version.hpp"

namespace bex::stream {

/// How the version of a package must compare with that of a relation: "<<", "<=", "=", ">=" and ">>".
enum class VersionOperator { earlier, earlierOrEqual, equal, laterOrEqual, later };

/// The versions that a relation admits, such as ">= 2.36".
struct BEX_EXPORT VersionBound {
    VersionOperator comparison = VersionOperator::equal;
    Version version;

    bool admits(const Version& candidate) const noexcept;
};

struct Candidate;
struct RelationScope;

/// A relation to a package, such as "libc6:any (>= 2.36)": deb-control(5).
struct BEX_EXPORT Relation {
    std::string package;
    std::string architecture;           ///< the qualifier after the colon: an architecture, "any", or "" for none
    std::optional<VersionBound> bound;  ///< none: every version is admitted

    std::string format() const;

    /// Whether the package satisfies this by itself or by one of its Provides. A relation with a version is
    /// satisfied only by a Provides with a version. Time grows with the number of provided packages.
    bool satisfiedBy(const Candidate& candidate, const RelationScope& scope) const;
};

/// Relations of which one must be satisfied: "mail-transport-agent | exim4".
using Alternatives = std::vector<Relation>;

/// Reads the value of a dependency field of a binary package (Depends, Breaks, Provides and so on). All of the
/// groups must be satisfied; fields without alternatives have one relation in each group. Accepts what dpkg
/// accepts without a warning, so that names may hold upper-case letters, which ControlParagraph::faults()
/// reports. Throws StreamError (`invalidInput`) for anything else, such as the "[amd64]" and "<!nocheck>" of
/// source packages.
BEX_EXPORT std::vector<Alternatives> parseRelations(std::string_view value);

/// The value of a field with these relations, in one line; parseRelations() reads it back.
BEX_EXPORT std::string formatRelations(const std::vector<Alternatives>& groups);

enum class MultiArch { no, same, foreign, allowed };

/// A package that may satisfy a relation.
struct BEX_EXPORT Candidate {
    std::string name;
    Version version;
    std::string architecture;  ///< "all" counts as the native architecture
    MultiArch multiArch = MultiArch::no;
    std::vector<Relation> provides;

    /// Reads Package, Version, Architecture, Multi-Arch and Provides of a binary package's paragraph. Throws
    /// StreamError (`invalidInput`) if one of the first three is missing, or if Version, Multi-Arch or Provides is
    /// malformed.
    static Candidate of(const ControlParagraph& paragraph);
};

/// The meaning of a relation without an architecture.
struct RelationScope {
    std::string native;                ///< the system's architecture (`dpkg --print-architecture`)
    std::string architecture = "all";  ///< of the package whose field it is; "all" counts as the native one
    bool unqualifiedMeansAny = false;  ///< true for Breaks, Conflicts and Replaces
};

}  // namespace bex::stream
