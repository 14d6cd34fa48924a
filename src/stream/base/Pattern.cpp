#include "bex/stream/Pattern.hpp"

#include <fnmatch.h>
#include <locale.h>

#include <algorithm>
#include <cstddef>

#include "bex/stream/Entry.hpp"

namespace bex::stream {

namespace {

/// The C locale for the calling thread. It is built into the C library: making it cannot fail.
class PlainLocale {
public:
    PlainLocale() : plain_(newlocale(LC_ALL_MASK, "C", nullptr)), before_(uselocale(plain_)) {}
    ~PlainLocale() {
        uselocale(before_);
        freelocale(plain_);
    }
    PlainLocale(const PlainLocale&) = delete;
    PlainLocale& operator=(const PlainLocale&) = delete;

private:
    locale_t plain_;
    locale_t before_;
};

}  // namespace

Pattern::Pattern(std::string_view pattern)
    : text_(plainPath(pattern.substr(std::min(pattern.find_first_not_of('/'), pattern.size())))) {}

bool Pattern::matches(const std::string& path) const {
    if (text_ == path) {
        return true;
    }
    if (text_.find_first_of("*?[\\") == std::string::npos) {  // spares most patterns the change of locale
        return false;
    }
    // fnmatch(3) depends on the locale, in which a path that is not valid text matches nothing. A pattern must
    // select the same files for every user.
    const PlainLocale locale;
    return fnmatch(text_.c_str(), path.c_str(), 0) == 0;
}

bool Pattern::matchesAtOrAbove(const std::string& path) const {
    if (text_.empty() || matches(path)) {
        return true;
    }
    // Each directory above the path, outermost first; the path itself was compared above.
    for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        if (matches(path.substr(0, slash))) {
            return true;
        }
    }
    return false;
}

}  // namespace bex::stream
