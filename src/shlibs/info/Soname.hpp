#pragma once

#include <optional>
#include <string_view>

namespace bex::shlibs {

/// A library's name and version as shlibs files have them: deb-shlibs(5).
struct LibraryVersion {
    std::string_view name;
    std::string_view version;
};

/// "libfoo.so.1" gives libfoo and 1, "libfoo-1.2.so" gives libfoo and 1.2; nothing for any other form, which a
/// library has that is not a public one. The parts lie in `soname`.
std::optional<LibraryVersion> splitSoname(std::string_view soname) noexcept;

}  // namespace bex::shlibs
