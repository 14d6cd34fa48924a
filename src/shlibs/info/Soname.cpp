#include "shlibs/info/Soname.hpp"

#include <cstddef>

#include "shlibs/base/TextFile.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

std::optional<LibraryVersion> splitSoname(std::string_view soname) noexcept {
    constexpr std::string_view middle = ".so.";
    constexpr std::string_view end = ".so";
    if (const std::size_t at = soname.rfind(middle); at != std::string_view::npos) {
        return LibraryVersion{soname.substr(0, at), soname.substr(at + middle.size())};
    }
    if (!stream::endsWith(soname, end)) {
        return std::nullopt;
    }
    const std::string_view stem = soname.substr(0, soname.size() - end.size());
    for (std::size_t hyphen = stem.rfind('-'); hyphen != std::string_view::npos && hyphen > 0;
         hyphen = stem.rfind('-', hyphen - 1)) {
        if (hyphen + 1 < stem.size() && stream::isDigit(stem[hyphen + 1])) {
            return LibraryVersion{stem.substr(0, hyphen), stem.substr(hyphen + 1)};
        }
    }
    return std::nullopt;
}

}  // namespace bex::shlibs
