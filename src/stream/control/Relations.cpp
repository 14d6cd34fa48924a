#include "stream/control/Relations.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/FieldValues.hpp"

namespace bex::stream {

namespace {

/// Whitespace counts for nothing between words, so a field may be folded anywhere.
constexpr bool isSpace(char c) {
    return isBlank(c) || c == '\n';
}

constexpr bool mayStandInName(char c) {
    return isAlphanumeric(c) || c == '-' || c == '+' || c == '.' || c == '_';
}

constexpr bool mayStandInArchitecture(char c) {
    return isAlphanumeric(c) || c == '-';
}

constexpr bool isOperatorSign(char c) {
    return c == '<' || c == '=' || c == '>';
}

constexpr bool mayStandInVersion(char c) {
    return !isSpace(c) && c != ')' && c != '(';
}

std::optional<VersionOperator> operatorOf(std::string_view sign) {
    for (std::size_t i = 0; i < kVersionSigns.size(); ++i) {
        if (kVersionSigns[i] == sign) {
            // The table has the order of the enumeration.
            return static_cast<VersionOperator>(i);
        }
    }
    return std::nullopt;
}

/// Reads one value from front to back. Each step throws the fault that it meets.
class RelationsReader {
public:
    struct Fault {
        std::string text;  ///< the rest of a sentence about the value
    };

    RelationsReader(std::string_view value, const RelationRules& rules) : rest_(value), rules_(rules) {}

    std::vector<Alternatives> list();

private:
    Alternatives group();
    Relation relation();
    std::string name();
    std::string architecture(const std::string& package);
    VersionBound version(const std::string& package);

    void skipSpace() { takeWhile(isSpace); }

    // Removes the character only if it is the one wanted, so that callers can try one after the other.
    bool take(char wanted) {
        const bool there = !rest_.empty() && rest_.front() == wanted;
        if (there) {
            rest_.remove_prefix(1);
        }
        return there;
    }

    template <typename Test>
    std::string_view takeWhile(Test test) {
        const auto length = std::find_if_not(rest_.begin(), rest_.end(), test) - rest_.begin();
        const std::string_view taken = rest_.substr(0, static_cast<std::size_t>(length));
        rest_.remove_prefix(taken.size());
        return taken;
    }

    std::string_view rest_;
    RelationRules rules_;
};

std::vector<Alternatives> RelationsReader::list() {
    std::vector<Alternatives> groups;
    do {
        // Groups and relations are read in loops, not by recursion: a value of any length needs the same stack.
        groups.push_back(group());
        // A separator at the end calls for another group, so that a trailing comma is refused.
    } while (take(','));
    // Nothing may be left: what was not understood would silently be no dependency.
    if (rest_.empty()) {
        return groups;
    }
    if (rest_.front() == '|') {
        throw Fault{"may not hold alternatives"};
    }
    throw Fault{"holds " + quoted(rest_) + " out of place"};
}

Alternatives RelationsReader::group() {
    Alternatives alternatives;
    do {
        alternatives.push_back(relation());
    } while (rules_.alternatives && take('|'));
    return alternatives;
}

Relation RelationsReader::relation() {
    Relation relation;
    relation.package = name();
    if (take(':')) {
        relation.architecture = architecture(relation.package);
    }
    skipSpace();
    if (take('(')) {
        relation.bound = version(relation.package);
    }
    skipSpace();
    if (rules_.versionNeeded && !relation.bound) {
        throw Fault{"lacks a version of " + quoted(relation.package)};
    }
    return relation;
}

std::string RelationsReader::name() {
    skipSpace();
    if (rest_.empty()) {
        throw Fault{"lacks a package name at its end"};
    }
    // The message shows what stands in place of a name, or the name that begins wrongly.
    const std::string_view package = takeWhile(mayStandInName);
    if (package.empty() || !isAlphanumeric(package.front())) {
        throw Fault{"lacks a package name at " + quoted(orIfEmpty(package, rest_))};
    }
    return std::string(package);
}

std::string RelationsReader::architecture(const std::string& package) {
    if (!rules_.qualifiers) {
        throw Fault{"may not hold an architecture after " + quoted(package)};
    }
    // No blank is skipped here: dpkg reads none between the colon and the architecture.
    const std::string_view architecture = takeWhile(mayStandInArchitecture);
    if (architecture.empty() || architecture.front() == '-') {
        throw Fault{"lacks an architecture after " + quoted(package)};
    }
    return std::string(architecture);
}

VersionBound RelationsReader::version(const std::string& package) {
    skipSpace();
    // Taken whole, so that "<>" or "= =" is an unknown operator and not the beginning of a version.
    const std::optional<VersionOperator> comparison = operatorOf(takeWhile(isOperatorSign));
    if (!comparison) {
        throw Fault{"must use <<, <=, =, >= or >> for the version of " + quoted(package)};
    }
    if (rules_.exactOnly && *comparison != VersionOperator::equal) {
        throw Fault{"must use = for the version of " + quoted(package)};
    }
    skipSpace();
    // Excludes blanks and parentheses only, so that what is not a version is shown by versionFault()'s message.
    const std::string_view text = takeWhile(mayStandInVersion);
    if (const std::string fault = versionFault(text); !fault.empty()) {
        throw Fault{"gives " + quoted(package) + " the version " + quoted(text) + ", which " + fault};
    }
    skipSpace();
    if (!take(')')) {
        throw Fault{"lacks a closing parenthesis after the version of " + quoted(package)};
    }
    // Cannot be refused: the same text was read without a fault.
    return {*comparison, Version::parse(text)};
}

/// dpkg reads these; Debian Policy and deb-control(5) know no such package.
std::string nameFault(const Relation& relation) {
    if (std::string fault = packageNameFault(relation.package); !fault.empty()) {
        return "names the package " + quoted(relation.package) + ", which " + fault;
    }
    const std::string& architecture = relation.architecture;
    if (architecture.empty() || architecture == "any") {
        return {};
    }
    if (const std::string fault = architectureFault(architecture); !fault.empty()) {
        return "names the architecture " + quoted(architecture) + ", which " + fault;
    }
    return {};
}

}  // namespace

RelationList readRelations(std::string_view value, const RelationRules& rules) {
    if (!value.empty() && value.front() == '\n') {
        return {{}, "must begin in its first line, or dpkg refuses it"};
    }
    if (value.find("\n\n") != std::string_view::npos || (!value.empty() && value.back() == '\n')) {
        return {
            {},
            "contains an empty line, and the dot that stands for it in the file would be read as a package name"};
    }
    try {
        return {RelationsReader(value, rules).list(), ""};
    } catch (const RelationsReader::Fault& fault) {
        return {{}, fault.text};
    }
}

std::string relationsFault(std::string_view value, const RelationRules& rules) {
    const RelationList list = readRelations(value, rules);
    if (!list.fault.empty()) {
        return list.fault;
    }
    for (const Alternatives& group : list.groups) {
        for (const Relation& relation : group) {
            if (std::string fault = nameFault(relation); !fault.empty()) {
                return fault;
            }
        }
    }
    return {};
}

}  // namespace bex::stream
