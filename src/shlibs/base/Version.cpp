#include "shlibs/base/Version.hpp"

#include "bex/stream/StreamError.hpp"
#include "bex/stream/Version.hpp"

namespace bex::shlibs {

using stream::Version;

bool isVersion(std::string_view text) {
    try {
        Version::parse(text);
        return true;
    } catch (const stream::StreamError&) {
        return false;
    }
}

/// Most versions that are compared are the same text: the lines of a symbols file have few different ones.
int compareVersions(std::string_view a, std::string_view b) {
    if (a == b) {
        return 0;
    }
    return Version::parse(a).compare(Version::parse(b));
}

}  // namespace bex::shlibs
