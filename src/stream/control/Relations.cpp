#include "stream/control/Relations.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
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

/// Reads one value from front to back. Each step returns the fault that it met, or nothing.
class RelationsReader {
public:
    RelationsReader(std::string_view value, const RelationRules& rules) : rest_(value), rules_(rules) {}

    std::string list();

    std::vector<Alternatives> takeGroups() { return std::move(groups_); }

private:
    std::string group();
    std::string relation(Relation& relation);
    std::string name(std::string& package);
    std::string architecture(Relation& relation);
    std::string version(Relation& relation);

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
    std::vector<Alternatives> groups_;
};

std::string RelationsReader::list() {
    do {
        // Groups and relations are read in loops, not by recursion: a value of any length needs the same stack.
        if (std::string fault = group(); !fault.empty()) {
            return fault;
        }
        // A separator at the end calls for another group, so that a trailing comma is refused.
    } while (take(','));
    // Nothing may be left: what was not understood would silently be no dependency.
    if (rest_.empty()) {
        return {};
    }
    if (rest_.front() == '|') {
        return "may not hold alternatives";
    }
    return "holds " + quoted(rest_) + " out of place";
}

std::string RelationsReader::group() {
    Alternatives alternatives;
    do {
        if (std::string fault = relation(alternatives.emplace_back()); !fault.empty()) {
            // The group is not added: `groups_` holds only what was read completely.
            return fault;
        }
    } while (rules_.alternatives && take('|'));
    groups_.push_back(std::move(alternatives));
    return {};
}

std::string RelationsReader::relation(Relation& relation) {
    // Every step runs only while there is no fault; the blanks between are skipped in any case, which does no
    // harm.
    std::string fault = name(relation.package);
    if (fault.empty() && take(':')) {
        fault = architecture(relation);
    }
    skipSpace();
    if (fault.empty() && take('(')) {
        fault = version(relation);
    }
    skipSpace();
    if (fault.empty() && rules_.versionNeeded && !relation.bound) {
        return "lacks a version of " + quoted(relation.package);
    }
    return fault;
}

std::string RelationsReader::name(std::string& package) {
    skipSpace();
    if (rest_.empty()) {
        return "lacks a package name at its end";
    }
    // The message shows what stands in place of a name, or the name that begins wrongly.
    package = takeWhile(mayStandInName);
    if (package.empty()) {
        return "lacks a package name at " + quoted(rest_);
    }
    if (!isAlphanumeric(package.front())) {
        return "lacks a package name at " + quoted(package);
    }
    return {};
}

std::string RelationsReader::architecture(Relation& relation) {
    if (!rules_.qualifiers) {
        return "may not hold an architecture after " + quoted(relation.package);
    }
    relation.architecture = takeWhile(mayStandInArchitecture);
    // No blank is skipped here: dpkg reads none between the colon and the architecture.
    if (relation.architecture.empty() || relation.architecture.front() == '-') {
        return "lacks an architecture after " + quoted(relation.package);
    }
    return {};
}

std::string RelationsReader::version(Relation& relation) {
    const std::string package = quoted(relation.package);
    skipSpace();
    // Taken whole, so that "<>" or "= =" is an unknown operator and not the beginning of a version.
    const std::optional<VersionOperator> comparison = operatorOf(takeWhile(isOperatorSign));
    if (!comparison) {
        return "must use <<, <=, =, >= or >> for the version of " + package;
    }
    if (rules_.exactOnly && *comparison != VersionOperator::equal) {
        return "must use = for the version of " + package;
    }
    skipSpace();
    // Excludes blanks and parentheses only, so that what is not a version is shown by versionFault()'s message.
    const std::string_view text = takeWhile(mayStandInVersion);
    if (const std::string fault = versionFault(text); !fault.empty()) {
        return "gives " + package + " the version " + quoted(text) + ", which " + fault;
    }
    // Cannot be refused: the same text was read without a fault just above.
    relation.bound = VersionBound{*comparison, Version::parse(text)};
    skipSpace();
    if (!take(')')) {
        return "lacks a closing parenthesis after the version of " + package;
    }
    return {};
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
    RelationsReader reader(value, rules);
    std::string fault = reader.list();
    return {reader.takeGroups(), std::move(fault)};
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
