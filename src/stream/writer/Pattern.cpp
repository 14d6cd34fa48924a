#include "stream/writer/Pattern.hpp"

#include <fnmatch.h>
#include <locale.h>

namespace bex::stream {

namespace {

/// The C locale for the calling thread. It is built into the C library: making it can't fail.
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

bool matchesPattern(const std::string& pattern, const std::string& path) {
    const PlainLocale locale;
    return fnmatch(pattern.c_str(), path.c_str(), 0) == 0;
}

}  // namespace bex::stream
