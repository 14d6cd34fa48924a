#pragma once

#include <cstddef>
#include <string_view>

namespace bex::buildfile {

/// What a key of the build file holds.
enum class KeyKind {
    text,
    flag,      ///< true or false
    texts,     ///< a list of texts
    textMap,   ///< texts under any names
    choice,    ///< one of Key::words, or an empty text
    level,     ///< the same, with a colon and a level after it or not
    section,   ///< a map of known keys
    sections,  ///< a list of such maps
    foreign    ///< of other package formats, or without a meaning for Debian packages: noted and skipped
};

struct Section;

struct Key {
    std::string_view name;
    KeyKind kind = KeyKind::text;
    std::string_view help;
    const Section* section = nullptr;  ///< of KeyKind::section and KeyKind::sections
    std::string_view words = "";       ///< of KeyKind::choice and KeyKind::level, with blanks between them
};

/// The keys that a map may have.
struct Section {
    const Key* keys;
    std::size_t count;

    const Key* begin() const noexcept { return keys; }
    const Key* end() const noexcept { return keys + count; }
    const Key* find(std::string_view name) const noexcept;
};

/// The whole document's. The one list of keys: what is read, refused and described by the schema follows it.
const Section& documentSection() noexcept;

}  // namespace bex::buildfile
