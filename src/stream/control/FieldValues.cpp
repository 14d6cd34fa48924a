#include "stream/control/FieldValues.hpp"

#include <algorithm>
#include <cstddef>
#include <initializer_list>

#include "stream/base/Ascii.hpp"
#include "stream/base/Quoted.hpp"
#include "stream/control/Version.hpp"

namespace bex::stream {

namespace {

constexpr bool mayBeginPackage(char c) {
    return isDigit(c) || isLowerCase(c);
}

constexpr bool mayStandInPackage(char c) {
    return mayBeginPackage(c) || c == '+' || c == '-' || c == '.';
}

constexpr bool mayStandInArchitecture(char c) {
    return isAlphanumeric(c) || c == '-';
}

constexpr bool mayStandInSection(char c) {
    return isAlphanumeric(c) || c == '.' || c == '+' || c == '-' || c == '_' || c == '/';
}

constexpr bool mayStandInPriority(char c) {
    return isLowerCase(c) || isDigit(c) || c == '-';
}

constexpr bool mayStandInAddress(char c) {
    return static_cast<unsigned char>(c) > ' ' && c != '\x7F' && c != '<' && c != '>' && c != ',';
}

bool isOneOf(std::string_view value, std::initializer_list<std::string_view> words) {
    return std::any_of(words.begin(), words.end(),
                       [value](std::string_view word) { return equalIgnoringCase(value, word); });
}

/// Whether it names many architectures or none, which only source packages may do.
bool isArchitecturePattern(std::string_view value) {
    return value == "any" || value == "source" || value.substr(0, 4) == "any-" ||
           (value.size() > 4 && value.substr(value.size() - 4) == "-any");
}

bool isAddress(std::string_view text) {
    const std::size_t at = text.find('@');
    return at != std::string_view::npos && at > 0 && at + 1 < text.size() && consistsOf(text, mayStandInAddress);
}

bool isOneLine(std::string_view text) {
    return text.find('\n') == std::string_view::npos;
}

}  // namespace

std::string packageNameFault(std::string_view value) {
    if (value.size() < 2) {
        return "must have at least two characters";
    }
    if (!mayBeginPackage(value.front())) {
        return "must begin with a lower-case letter or a digit";
    }
    return consistsOf(value, mayStandInPackage) ? "" : "may hold only lower-case letters, digits and + - .";
}

std::string architectureFault(std::string_view value) {
    if (value.front() == '-' || !consistsOf(value, mayStandInArchitecture)) {
        return "must be one architecture of letters, digits and hyphens";
    }
    return isArchitecturePattern(value) ? "must be one architecture, not a pattern" : "";
}

std::string maintainerFault(std::string_view value) {
    constexpr const char* rule = "must be of the form Name <address>";
    const std::size_t open = value.find('<');
    if (!isOneLine(value) || open == std::string_view::npos || value.back() != '>') {
        return rule;
    }
    const std::string_view name = trimmed(value.substr(0, open));
    const bool separated = open > 0 && isBlank(value[open - 1]);
    return !name.empty() && separated && isAddress(value.substr(open + 1, value.size() - open - 2)) ? "" : rule;
}

std::string descriptionFault(std::string_view value) {
    return value.front() == '\n' ? "must have a synopsis in its first line" : "";
}

std::string sourceFault(std::string_view value) {
    const std::size_t blank = value.find(' ');
    if (std::string fault = packageNameFault(value.substr(0, blank)); !fault.empty()) {
        return fault + " before the version";
    }
    if (blank == std::string_view::npos) {
        return {};
    }
    const std::string_view version = value.substr(blank + 1);
    if (version.size() < 2 || version.front() != '(' || version.back() != ')') {
        return "must have its version in parentheses";
    }
    return versionFault(version.substr(1, version.size() - 2));
}

std::string sectionFault(std::string_view value) {
    const bool split = value.front() == '/' || value.back() == '/' || value.find("//") != std::string_view::npos;
    return !split && consistsOf(value, mayStandInSection) ? "" : "must be a word, or two with a slash between";
}

std::string priorityFault(std::string_view value) {
    if (!consistsOf(value, mayStandInPriority)) {
        return "must be a word of lower-case letters";
    }
    for (const std::string_view known : {"required", "important", "standard", "optional", "extra", "unknown"}) {
        if (value.size() > known.size() && value.substr(0, known.size()) == known) {
            return "must not be a word that begins with another priority";
        }
    }
    return {};
}

std::string sizeFault(std::string_view value) {
    return consistsOf(value, isDigit) ? "" : "must be a number of kibibytes";
}

std::string booleanFault(std::string_view value) {
    return isOneOf(value, {"yes", "no"}) ? "" : "must be yes or no";
}

std::string multiArchFault(std::string_view value) {
    return isOneOf(value, {"no", "same", "foreign", "allowed"}) ? "" : "must be no, same, foreign or allowed";
}

}  // namespace bex::stream
