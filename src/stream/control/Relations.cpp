#include "stream/control/Relations.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

#include "stream/base/Ascii.hpp"
#include "stream/base/Quoted.hpp"
#include "stream/control/Version.hpp"

namespace bex::stream {

namespace {

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

bool isOperator(std::string_view text) {
    constexpr std::array<std::string_view, 5> operators{"<<", "<=", "=", ">=", ">>"};
    return std::find(operators.begin(), operators.end(), text) != operators.end();
}

/// Reads one value from front to back. Each step gives the fault that it met, or nothing.
class RelationsReader {
public:
    RelationsReader(std::string_view value, const RelationRules& rules) : rest_(value), rules_(rules) {}

    std::string list();

private:
    std::string relation();
    std::string architecture(std::string_view package);
    std::string version(std::string_view package);
    std::string end(std::string_view package);

    void skipSpace() { takeWhile(isSpace); }

    bool take(char wanted) {
        const bool there = !rest_.empty() && rest_.front() == wanted;
        rest_.remove_prefix(there ? 1 : 0);
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

std::string RelationsReader::list() {
    do {
        if (std::string fault = relation(); !fault.empty()) {
            return fault;
        }
    } while (take(',') || (rules_.alternatives && take('|')));
    if (rest_.empty()) {
        return {};
    }
    return rest_.front() == '|' ? "may not hold alternatives" : "holds " + quoted(rest_) + " out of place";
}

std::string RelationsReader::relation() {
    skipSpace();
    const std::string_view package = takeWhile(mayStandInName);
    if (package.empty() || !isAlphanumeric(package.front())) {
        return rest_.empty() && package.empty()
                   ? "lacks a package name at its end"
                   : "lacks a package name at " + quoted(package.empty() ? rest_ : package);
    }
    if (take(':')) {
        if (std::string fault = architecture(package); !fault.empty()) {
            return fault;
        }
    }
    skipSpace();
    std::string fault = take('(') ? version(package) : "";
    skipSpace();
    return fault;
}

std::string RelationsReader::architecture(std::string_view package) {
    const std::string_view name = takeWhile(mayStandInArchitecture);
    return name.empty() || name.front() == '-' ? "lacks an architecture after " + quoted(package) : "";
}

std::string RelationsReader::version(std::string_view package) {
    skipSpace();
    const std::string_view sign = takeWhile(isOperatorSign);
    if (!isOperator(sign)) {
        return "must use <<, <=, =, >= or >> for the version of " + quoted(package);
    }
    if (rules_.exactOnly && sign != "=") {
        return "must use = for the version of " + quoted(package);
    }
    skipSpace();
    const std::string_view text = takeWhile(mayStandInVersion);
    if (const std::string fault = versionFault(text); !fault.empty()) {
        return "gives " + quoted(package) + " the version " + quoted(text) + ", which " + fault;
    }
    return end(package);
}

std::string RelationsReader::end(std::string_view package) {
    skipSpace();
    return take(')') ? "" : "lacks a closing parenthesis after the version of " + quoted(package);
}

}  // namespace

std::string relationsFault(std::string_view value, const RelationRules& rules) {
    if (!value.empty() && value.front() == '\n') {
        return "must begin in its first line, or dpkg refuses it";
    }
    if (value.find("\n\n") != std::string_view::npos || (!value.empty() && value.back() == '\n')) {
        return "holds an empty line, whose dot in the file would be taken for a package name";
    }
    return RelationsReader(value, rules).list();
}

}  // namespace bex::stream
