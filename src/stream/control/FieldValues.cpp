#include "stream/control/FieldValues.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/FieldSyntax.hpp"

namespace bex::stream {

namespace {

constexpr std::array<std::string_view, 5> kPriorities{"required", "important", "standard", "optional", "extra"};

// Lower case alone, unlike dpkg: Debian Policy 5.6.7 and 5.6.8.

constexpr bool mayBeginPackage(char c) {
    return isDigit(c) || isLowerCase(c);
}

constexpr bool mayStandInPackage(char c) {
    return mayBeginPackage(c) || c == '+' || c == '-' || c == '.';
}

constexpr bool mayStandInArchitecture(char c) {
    return isLowerCase(c) || isDigit(c) || c == '-';
}

constexpr bool mayStandInSection(char c) {
    return isAlphanumeric(c) || c == '.' || c == '+' || c == '-' || c == '_' || c == '/';
}

/// Bytes of UTF-8 are allowed. A comma would begin a second person.
constexpr bool mayStandInAddress(char c) {
    return static_cast<unsigned char>(c) > ' ' && c != '\x7F' && c != '<' && c != '>' && c != ',';
}

/// dpkg ignores case in the values of these fields.
bool isOneOf(std::string_view value, std::initializer_list<std::string_view> words) {
    return std::any_of(words.begin(), words.end(),
                       [value](std::string_view word) { return equalIgnoringCase(value, word); });
}

/// Whether it names many architectures or none, which only source packages may do.
bool isArchitecturePattern(std::string_view value) {
    return value == "any" || value == "source" || startsWith(value, "any-") || endsWith(value, "-any");
}

bool isAddress(std::string_view text) {
    const std::size_t at = text.find('@');
    // At least one byte on both sides of the first "@"; consistsOf() excludes blanks and angle brackets.
    return at != std::string_view::npos && at > 0 && at + 1 < text.size() && consistsOf(text, mayStandInAddress);
}

/// "Name <address>" in one line, with a blank before the "<".
bool isPerson(std::string_view value) {
    // The first "<". A second one, or a ">" before the last byte, is refused by isAddress().
    const std::size_t open = value.find('<');
    // back() is safe: the callers of all checks here have excluded an empty value.
    if (value.find('\n') != std::string_view::npos || open == std::string_view::npos || value.back() != '>') {
        return false;
    }
    const bool named = open > 0 && isBlank(value[open - 1]) && !trimmed(value.substr(0, open)).empty();
    // `open` is not the last byte, which is ">", so that the length does not wrap.
    return named && isAddress(value.substr(open + 1, value.size() - open - 2));
}

}  // namespace

std::string packageNameFault(std::string_view value) {
    if (value.size() < 2) {
        return "must have at least two characters";
    }
    if (!mayBeginPackage(value.front())) {
        return "must begin with a lower-case letter or a digit";
    }
    return faultUnless(consistsOf(value, mayStandInPackage), "may hold only lower-case letters, digits and + - .");
}

std::string architectureFault(std::string_view value) {
    // dpkg wants a letter or a digit at the front.
    if (value.front() == '-' || !consistsOf(value, mayStandInArchitecture)) {
        return "must be one architecture of lower-case letters, digits and hyphens";
    }
    return faultUnless(!isArchitecturePattern(value), "must be one architecture, not a pattern");
}

std::string maintainerFault(std::string_view value) {
    return faultUnless(isPerson(value), "must be of the form Name <address>");
}

std::string descriptionFault(std::string_view value) {
    return faultUnless(value.front() != '\n', "must have a synopsis in its first line");
}

std::string sourceFault(std::string_view value) {
    // Debian Policy 5.6.1: the version follows in parentheses.
    const std::size_t blank = value.find(' ');
    const std::string_view package = value.substr(0, blank);
    if (const std::string fault = packageNameFault(package); !fault.empty()) {
        return "names the package " + quoted(package) + ", which " + fault;
    }
    if (blank == std::string_view::npos) {
        return {};
    }
    const std::string_view version = value.substr(blank + 1);
    // Bounds the substring below, and excludes "(" alone, which is both first and last.
    if (version.size() < 2 || version.front() != '(' || version.back() != ')') {
        return "must have its version in parentheses";
    }
    return versionFault(version.substr(1, version.size() - 2));
}

std::string sectionFault(std::string_view value) {
    // An archive area such as "non-free" may come first.
    const auto slashes = std::count(value.begin(), value.end(), '/');
    const bool twoWords = slashes == 1 && value.front() != '/' && value.back() != '/';
    return faultUnless((slashes == 0 || twoWords) && consistsOf(value, mayStandInSection),
                       "must be a word, or two with a slash between");
}

std::string priorityFault(std::string_view value) {
    const bool known = std::find(kPriorities.begin(), kPriorities.end(), value) != kPriorities.end();
    return faultUnless(known, "must be required, important, standard, optional or extra");
}

std::string sizeFault(std::string_view value) {
    // Meant: of any length. dpkg keeps the text and computes nothing with it.
    return faultUnless(consistsOf(value, isDigit), "must be a number of kibibytes");
}

std::string booleanFault(std::string_view value) {
    return faultUnless(isOneOf(value, {"yes", "no"}), "must be yes or no");
}

std::string multiArchFault(std::string_view value) {
    return faultUnless(isOneOf(value, {"no", "same", "foreign", "allowed"}),
                       "must be no, same, foreign or allowed");
}

}  // namespace bex::stream
