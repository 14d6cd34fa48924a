#include "stream/control/MemberOddities.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

/// dpkg reads lines into a buffer of 256 bytes, which must hold the newline and an end mark.
constexpr std::size_t kLongestLine = 254;

constexpr std::array<std::string_view, 3> kInterests{"interest", "interest-await", "interest-noawait"};
constexpr std::array<std::string_view, 3> kActivations{"activate", "activate-await", "activate-noawait"};

constexpr bool isPrintable(char c) {
    return c > ' ' && c < '\x7F';
}

constexpr bool mayStandInPackage(char c) {
    return isAlphanumeric(c) || c == '-' || c == '+' || c == '.';
}

bool contains(const std::array<std::string_view, 3>& words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

/// dpkg keeps interests by path or by a name that follows the rules of packages' names.
bool isTriggerOfInterest(std::string_view name) {
    // The name is not empty: directiveFault() checks that first.
    if (name.front() == '/') {
        return name.back() != '/' && name.find("//") == std::string_view::npos;
    }
    return isAlphanumeric(name.front()) && consistsOf(name, mayStandInPackage);
}

std::string directiveFault(std::string_view line) {
    // Blanks inside the rest of the line belong to the name, and make it invalid.
    const std::string_view directive = line.substr(0, line.find_first_of(" \t"));
    const std::string_view name = trimmed(line.substr(directive.size()));
    const bool isInterest = contains(kInterests, directive);
    if (!isInterest && !contains(kActivations, directive)) {
        return "has the unknown directive " + quoted(directive);
    }
    if (name.empty()) {
        return "lacks the name of a trigger";
    }
    // An activation may name what nobody can be interested in: dpkg looks at its characters alone.
    if (!consistsOf(name, isPrintable) || (isInterest && !isTriggerOfInterest(name))) {
        return "has the invalid trigger name " + quoted(name);
    }
    return {};
}

std::string lineFault(std::string_view line) {
    // The limit is one of dpkg's buffer, so blanks and comments count, too.
    if (line.size() > kLongestLine) {
        return "is longer than " + std::to_string(kLongestLine) + " bytes";
    }
    // dpkg reads the line as a C string, and would see only what is before the NUL.
    if (line.find('\0') != std::string_view::npos) {
        return "holds a NUL";
    }
    const std::string_view text = trimmed(line);
    if (text.empty() || text.front() == '#') {
        return {};
    }
    return directiveFault(text);
}

}  // namespace

std::vector<Oddity> triggersOddities(std::string_view text) {
    std::vector<Oddity> oddities;
    std::size_t number = 0;
    forEachLine(text, [&](std::string_view line) {
        // Counted before the line is judged, so that comments and empty lines have numbers as well.
        ++number;
        if (const std::string fault = lineFault(line); !fault.empty()) {
            oddities.push_back(
                {"triggers-syntax", Severity::error, "line " + std::to_string(number) + ' ' + fault});
        }
    });
    checkLastLine(text, "triggers-syntax", oddities);
    return oddities;
}

}  // namespace bex::stream
