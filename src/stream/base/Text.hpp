#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace bex::stream {

/// Calls `take` with each part between two separators; a text of N separators has N + 1 parts, some of them empty.
template <typename Take>
void forEachPart(std::string_view text, char separator, Take take) {
    for (std::size_t end = text.find(separator); end != std::string_view::npos; end = text.find(separator)) {
        take(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    take(text);
}

/// Takes the next line off the front of a file's text, without its newline, which the last line may lack. Returns
/// false at the end.
constexpr bool nextLine(std::string_view& text, std::string_view& line) {
    if (text.empty()) {
        return false;
    }
    const std::size_t end = std::min(text.find('\n'), text.size());
    line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return true;
}

/// Calls `take` with each line of a file's text, as nextLine() takes them.
template <typename Take>
void forEachLine(std::string_view text, Take take) {
    for (std::string_view line; nextLine(text, line);) {
        take(line);
    }
}

/// The text up to its first newline.
constexpr std::string_view firstLine(std::string_view text) {
    return text.substr(0, text.find('\n'));
}

constexpr bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

constexpr bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/// Calls `visit` with each component of a path until it returns false; returns whether it never did. A final "/"
/// ends the last component, and "//" holds an empty one.
template <typename Visit>
bool forEachComponent(std::string_view path, Visit visit) {
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        if (!visit(path.substr(0, end))) {
            return false;
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return true;
}

inline bool hasParentComponent(std::string_view path) {
    // The first look spares most paths the second.
    return path.find("..") != std::string_view::npos &&
           !forEachComponent(path, [](std::string_view component) { return component != ".."; });
}

/// `name` below `directory`: a "/" stands between them unless the directory is "" or ends with one.
inline std::string joinedPath(std::string_view directory, std::string_view name) {
    std::string path(directory);
    if (!path.empty() && path.back() != '/') {
        path += '/';
    }
    path += name;
    return path;
}

/// The text, or `substitute` where the text is empty.
constexpr std::string_view orIfEmpty(std::string_view text, std::string_view substitute) {
    if (text.empty()) {
        return substitute;
    }
    return text;
}

/// Appends the part to a list; `separator` stands between two parts.
inline void appendPart(std::string& list, std::string_view separator, std::string_view part) {
    if (!list.empty()) {
        list += separator;
    }
    list += part;
}

/// The number that the whole text spells in digits of the base (2 to 36, either case), with "-" for a negative
/// one where `Number` is signed. Nothing where the text is anything else or the number does not fit.
template <typename Number>
std::optional<Number> parseWhole(std::string_view text, int base = 10) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number, base);
    if (result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    return number;
}

}  // namespace bex::stream
