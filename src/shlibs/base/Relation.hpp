#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bex::shlibs {

/// One package of a relationship field, such as "libc6:any (>= 2.36) [amd64] <!nocheck>".
struct Relation {
    std::string package;
    std::string qualifier;  ///< "any"; empty where there is none
    std::string sign;       ///< "<<", "<=", "=", ">=" or ">>"; empty where no version is asked for
    std::string version;
    std::string architectures;          ///< between the brackets
    std::vector<std::string> profiles;  ///< between each pair of angle brackets
};

/// Relations of which one is enough: "a | b".
using Alternatives = std::vector<Relation>;

/// Reads the value of a relationship field (deb-control(5), and a source package's with [] and <>). The old signs
/// "<" and ">" mean "<=" and ">=". Throws stream::StreamError (`damaged`), with `where` as the file, for what is
/// none.
std::vector<Alternatives> parseRelations(std::string_view text, const std::string& where);

/// The text as dpkg writes it: single blanks, " | " between alternatives.
std::string formatRelation(const Alternatives& alternatives);

/// The order of dpkg-shlibdeps(1): by package, then sign (none, >=, >>, =, <<, <=), then version, alternative by
/// alternative. Throws as compareVersions().
bool comesBefore(const Alternatives& a, const Alternatives& b);

/// Whether a source package that is built for the architecture, with no build profile, has the relation at all.
bool concerns(const Relation& relation, std::string_view architecture);

/// The same for a list of architecture names: "amd64 linux-any", "!i386 !any-arm".
bool concerns(std::string_view architectures, std::string_view architecture);

}  // namespace bex::shlibs
