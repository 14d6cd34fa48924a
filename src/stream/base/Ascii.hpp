#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace bex::stream {

// ASCII alone, whatever the locale says: control files are the same everywhere.

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool isLowerCase(char c) {
    return c >= 'a' && c <= 'z';
}

constexpr bool isUpperCase(char c) {
    return c >= 'A' && c <= 'Z';
}

constexpr char toLowerCase(char c) {
    if (!isUpperCase(c)) {
        return c;
    }
    return static_cast<char>(c - 'A' + 'a');
}

constexpr char toUpperCase(char c) {
    if (!isLowerCase(c)) {
        return c;
    }
    return static_cast<char>(c - 'a' + 'A');
}

constexpr bool isLetter(char c) {
    return isLowerCase(c) || isUpperCase(c);
}

constexpr bool isAlphanumeric(char c) {
    return isDigit(c) || isLetter(c);
}

constexpr bool isLowerCaseHexDigit(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f');
}

constexpr bool isHexDigit(char c) {
    return isLowerCaseHexDigit(toLowerCase(c));
}

constexpr bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

/// Whether every character satisfies `test`; true for none.
template <typename Test>
constexpr bool consistsOf(std::string_view text, Test test) {
    return std::find_if_not(text.begin(), text.end(), test) == text.end();
}

/// Whether the texts are equal without regard to case.
inline bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return toLowerCase(x) == toLowerCase(y); });
}

inline std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), toLowerCase);
    return lower;
}

inline std::string upperCase(std::string_view text) {
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(), toUpperCase);
    return upper;
}

/// The text without blanks at its ends.
constexpr std::string_view trimmed(std::string_view text, std::string_view blanks = " \t") {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    // Of a text of blanks alone nothing is left, and npos + 1 is 0.
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

}  // namespace bex::stream
