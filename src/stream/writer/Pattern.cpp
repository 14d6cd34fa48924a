#include "stream/writer/Pattern.hpp"

#include <fnmatch.h>

namespace bex::stream {

// The C locale is built into the C library: making it cannot fail.
PlainLocale::PlainLocale() : plain_(newlocale(LC_ALL_MASK, "C", nullptr)), before_(uselocale(plain_)) {}

PlainLocale::~PlainLocale() {
    uselocale(before_);
    freelocale(plain_);
}

bool matches(const std::string& pattern, const std::string& path) {
    return pattern == path || fnmatch(pattern.c_str(), path.c_str(), 0) == 0;
}

}  // namespace bex::stream
