#pragma once

#include <string>
#include <string_view>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// A glob(7) pattern for paths of a package, in which "*" and "?" match "/" too. "etc/x", "/etc/x", "./etc/x" and
/// "etc/x/" are the same pattern. Compares bytes in every locale, so that equal input gives equal results. A
/// copyable value.
class BEX_EXPORT Pattern {
public:
    explicit Pattern(std::string_view pattern);

    /// The pattern in canonical form, as plainPath() returns it.
    const std::string& text() const noexcept { return text_; }

    /// Whether the plain path matches, or is the pattern itself: a name such as "a[1]" is found by itself.
    bool matches(const std::string& path) const;

    /// Whether the plain path or a directory above it matches. The pattern "" (or "/", or ".") matches every path.
    bool matchesAtOrAbove(const std::string& path) const;

private:
    std::string text_;
};

}  // namespace bex::stream
