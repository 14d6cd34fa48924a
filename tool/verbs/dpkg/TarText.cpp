#include "verbs/dpkg/TarText.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <cwchar>
#include <cwctype>

#include "output/Text.hpp"

namespace bex::tool {

using stream::Entry;
using stream::EntryType;

namespace {

/// The letter after a backslash for a character that has one, or NUL.
char letterFor(char c) {
    static constexpr std::string_view characters = "\a\b\f\n\r\t\v\\";
    static constexpr std::string_view letters = "abfnrtv\\";
    const std::size_t at = characters.find(c);
    if (at == std::string_view::npos) {
        return '\0';
    }
    return letters[at];
}

/// How many of the first bytes are one character that can be printed; 0 if they are none.
std::size_t printableBytes(std::string_view text) {
    std::mbstate_t state{};
    wchar_t character{};
    const std::size_t count = std::mbrtowc(&character, text.data(), text.size(), &state);
    const bool whole = count != static_cast<std::size_t>(-1) && count != static_cast<std::size_t>(-2);
    if (!whole || std::iswprint(static_cast<std::wint_t>(character)) == 0) {
        return 0;
    }
    return count;
}

/// Meant: the time zone of the user, as tar shows times. A time that no calendar has is shown as its number.
std::string localTime(std::int64_t seconds) {
    std::tm fields{};
    if (localtime_r(&seconds, &fields) == nullptr) {
        return fmt::format("{:>16}", seconds);
    }
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", fields.tm_year + 1900LL, fields.tm_mon + 1, fields.tm_mday,
                       fields.tm_hour, fields.tm_min);
}

std::string targetText(const Entry& entry) {
    switch (entry.type) {
        case EntryType::symlink:
            return " -> " + TarText::name(entry.linkTarget);
        case EntryType::hardlink:
            return " link to " + TarText::name(entry.linkTarget);
        default:
            return "";
    }
}

}  // namespace

TarText::TarText()
    : users_(newlocale(LC_CTYPE_MASK, "", nullptr)),
      before_(uselocale(users_)) {}  // A null locale changes nothing, and the process has that of C.

TarText::~TarText() {
    uselocale(before_);
    if (users_ != nullptr) {
        freelocale(users_);
    }
}

/// GNU tar's default style of quoting, "escape": C's letters, and octal digits for what cannot be printed.
std::string TarText::name(std::string_view name) {
    std::string result;
    while (!name.empty()) {
        // What mbrtowc() cannot decode is shown byte by byte, so that the loop always moves on.
        std::size_t bytes = 1;
        if (const char letter = letterFor(name.front()); letter != '\0') {
            result.append(1, '\\').append(1, letter);
        } else if (const std::size_t printable = printableBytes(name); printable > 0) {
            result.append(name.substr(0, printable));
            bytes = printable;
        } else {
            result += fmt::format("\\{:03o}", static_cast<unsigned char>(name.front()));
        }
        name.remove_prefix(bytes);
    }
    return result;
}

std::string TarText::line(const Entry& entry) {
    const std::string owner = name(ownerOf(entry));
    const std::string group = name(groupOf(entry));
    const std::string size = std::to_string(entry.size);
    const std::size_t needed = owner.size() + 1 + group.size() + 1 + size.size();
    // GNU tar widens the column as it goes and never goes back, since it does not know what is to come.
    ownerAndSizeColumns_ = std::max(ownerAndSizeColumns_, needed);
    const std::size_t sizeColumns = ownerAndSizeColumns_ - needed + size.size();
    return fmt::format("{} {}/{} {:>{}} {} {}{}\n", modeText(entry), owner, group, size, sizeColumns,
                       localTime(entry.mtime), name(entry.path), targetText(entry));
}

}  // namespace bex::tool
