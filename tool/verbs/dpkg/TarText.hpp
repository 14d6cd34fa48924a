#pragma once

#include <locale.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "bex/stream/Entry.hpp"

namespace bex::tool {

/// Lists entries as GNU tar(1) does, whose listing dpkg-deb(1) prints: names escaped by the user's locale, times
/// in the user's time zone. Used by one thread, which has that locale while this lives.
class TarText {
public:
    TarText();
    ~TarText();
    TarText(const TarText&) = delete;
    TarText& operator=(const TarText&) = delete;

    /// One line of `tar -tv`. Columns grow with what came before.
    std::string line(const stream::Entry& entry);

    /// A name as `tar -t` escapes it: what the locale cannot print becomes a letter or three octal digits after a
    /// backslash.
    static std::string name(std::string_view name);

private:
    locale_t users_;  ///< null where the environment names a locale that is not there: then it is that of C
    locale_t before_;
    std::size_t ownerAndSizeColumns_ = 19;
};

}  // namespace bex::tool
