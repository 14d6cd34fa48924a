#pragma once

#include <locale.h>

namespace bex {

/// While an object exists, the calling thread reads and writes characters as UTF-8, whatever locale the program
/// has set (newlocale(3), uselocale(3)), and has the C locale in all other categories. Other threads are not
/// affected. In the C locale libarchive cannot convert the UTF-8 names of pax headers and returns a warning.
///
/// On a system without C.UTF-8 the thread keeps its locale: names that this locale can express still work.
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
    /// One for all threads, made at the first use and never freed: a thread may use it until the process ends.
    static locale_t utf8() {
        static const locale_t made = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
        return made;
    }

    locale_t former_;
};

}  // namespace bex
