#pragma once

#include <locale.h>

namespace bex {

/// While one lives, the calling thread reads and writes characters as UTF-8, whatever locale the program has
/// chosen (newlocale(3), uselocale(3)), and its other categories are the C locale's; other threads stay as they
/// are. In the C locale libarchive can't express the UTF-8 names of pax headers and calls such headers doubtful.
///
/// Where the system has no C.UTF-8 the thread keeps its locale: names that this one can express still work.
class Utf8CharacterType {
public:
    Utf8CharacterType() : former_(utf8() ? uselocale(utf8()) : locale_t{}) {}
    ~Utf8CharacterType() {
        if (former_ != locale_t{}) {
            uselocale(former_);
        }
    }

    Utf8CharacterType(const Utf8CharacterType&) = delete;
    Utf8CharacterType& operator=(const Utf8CharacterType&) = delete;

private:
    /// One for all threads, made at the first use and never freed: a thread may read until the process ends.
    static locale_t utf8() {
        static const locale_t made = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
        return made;
    }

    locale_t former_;
};

}  // namespace bex
