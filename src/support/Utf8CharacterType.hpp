#pragma once

#include <locale.h>

#include <memory>
#include <type_traits>

namespace bex {

/// While one lives, the calling thread reads and writes characters as UTF-8, whatever locale the program has
/// chosen (newlocale(3), uselocale(3)); all other categories and all other threads stay as they are. In the C
/// locale libarchive can't express the UTF-8 names of pax headers and calls such headers doubtful.
///
/// Where the system has no C.UTF-8 the thread keeps its locale: names that this one can express still work.
class Utf8CharacterType {
public:
    Utf8CharacterType() : utf8_(withUtf8()), former_(utf8_ ? uselocale(utf8_.get()) : locale_t{}) {}
    ~Utf8CharacterType() {
        if (utf8_) {
            uselocale(former_);
        }
    }

    Utf8CharacterType(const Utf8CharacterType&) = delete;
    Utf8CharacterType& operator=(const Utf8CharacterType&) = delete;

private:
    struct FreeLocale {
        void operator()(locale_t locale) const noexcept { freelocale(locale); }
    };
    using Locale = std::unique_ptr<std::remove_pointer_t<locale_t>, FreeLocale>;

    /// A copy of the thread's locale with the one category replaced, or null.
    static Locale withUtf8() {
        Locale base(duplocale(uselocale(locale_t{})));
        if (!base) {
            return nullptr;
        }
        Locale changed(newlocale(LC_CTYPE_MASK, "C.UTF-8", base.get()));
        if (changed) {
            base.release();  // newlocale made it part of its result
        }
        return changed;
    }

    Locale utf8_;
    locale_t former_;
};

}  // namespace bex
