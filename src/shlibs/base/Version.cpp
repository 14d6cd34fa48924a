#include "shlibs/base/Version.hpp"

#include <algorithm>
#include <cstddef>

namespace bex::shlibs {

namespace {

constexpr bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

constexpr bool isLetter(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// "~" sorts before the end, the end before letters, letters before all else.
constexpr int rankOf(char c) noexcept {
    if (c == '~') {
        return -1;
    }
    return isLetter(c) ? c : c + 256;
}

int rankAt(std::string_view text, std::size_t at) noexcept {
    return at < text.size() && !isDigit(text[at]) ? rankOf(text[at]) : 0;
}

/// Takes the part before the next digit off both and compares it.
int compareWords(std::string_view& a, std::string_view& b) noexcept {
    std::size_t at = 0;
    while ((at < a.size() && !isDigit(a[at])) || (at < b.size() && !isDigit(b[at]))) {
        const int difference = rankAt(a, at) - rankAt(b, at);
        if (difference != 0) {
            return difference;
        }
        ++at;
    }
    a.remove_prefix(at);
    b.remove_prefix(at);
    return 0;
}

std::string_view takeNumber(std::string_view& text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    const auto* const end = std::find_if_not(text.begin(), text.end(), isDigit);
    const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

/// Numbers of any length: without leading zeros, the longer one is the greater.
int compareNumbers(std::string_view& a, std::string_view& b) noexcept {
    const std::string_view first = takeNumber(a);
    const std::string_view second = takeNumber(b);
    if (first.size() != second.size()) {
        return first.size() < second.size() ? -1 : 1;
    }
    return first.compare(second);
}

int compareParts(std::string_view a, std::string_view b) noexcept {
    while (!a.empty() || !b.empty()) {
        if (const int difference = compareWords(a, b); difference != 0) {
            return difference;
        }
        if (const int difference = compareNumbers(a, b); difference != 0) {
            return difference;
        }
    }
    return 0;
}

std::string_view takeEpoch(std::string_view& version) noexcept {
    const std::size_t colon = version.find(':');
    if (colon == std::string_view::npos) {
        return {};
    }
    const std::string_view epoch = version.substr(0, colon);
    version.remove_prefix(colon + 1);
    return epoch;
}

/// What follows the last hyphen; an absent revision is as old as "0".
std::string_view takeRevision(std::string_view& version) noexcept {
    const std::size_t hyphen = version.rfind('-');
    if (hyphen == std::string_view::npos) {
        return {};
    }
    const std::string_view revision = version.substr(hyphen + 1);
    version = version.substr(0, hyphen);
    return revision;
}

}  // namespace

int compareVersions(std::string_view a, std::string_view b) noexcept {
    std::string_view epochA = takeEpoch(a);
    std::string_view epochB = takeEpoch(b);
    if (const int difference = compareNumbers(epochA, epochB); difference != 0) {
        return difference;
    }
    const std::string_view revisionA = takeRevision(a);
    const std::string_view revisionB = takeRevision(b);
    const int difference = compareParts(a, b);
    return difference != 0 ? difference : compareParts(revisionA, revisionB);
}

bool isVersion(std::string_view text) noexcept {
    const std::string_view epoch = takeEpoch(text);
    if (!std::all_of(epoch.begin(), epoch.end(), isDigit) || text.empty() || !isDigit(text.front())) {
        return false;
    }
    return std::all_of(text.begin(), text.end(), [](char c) {
        return isDigit(c) || isLetter(c) || std::string_view(".+~-:").find(c) != std::string_view::npos;
    });
}

}  // namespace bex::shlibs
