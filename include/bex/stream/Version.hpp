#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// The version of a package, "[epoch:]upstream[-revision]", ordered as deb-version(7) says and
/// `dpkg --compare-versions` does. Versions with different texts can be equal, such as "1", "1-0", "0:1" and "01".
///
/// A copyable value.
class BEX_EXPORT Version {
public:
    /// The version "0".
    Version() = default;

    /// Reads a version. Throws StreamError (`invalidInput`) for a text that is not one, for example with blanks at
    /// its ends, an upstream version that does not begin with a digit, or an epoch above 2147483647.
    static Version parse(std::string_view text);

    std::uint32_t epoch() const noexcept { return epoch_; }
    const std::string& upstream() const noexcept { return upstream_; }
    /// "" if there is none.
    const std::string& revision() const noexcept { return revision_; }

    /// The version's text. An epoch of 0 is left out, unless the upstream version contains a colon.
    std::string format() const;

    /// Returns a number below, equal to or above 0 if this is earlier than, equal to or later than `other`.
    /// Time grows with the length of the two.
    int compare(const Version& other) const noexcept;

    friend bool operator==(const Version& a, const Version& b) noexcept { return a.compare(b) == 0; }
    friend bool operator!=(const Version& a, const Version& b) noexcept { return a.compare(b) != 0; }
    friend bool operator<(const Version& a, const Version& b) noexcept { return a.compare(b) < 0; }
    friend bool operator<=(const Version& a, const Version& b) noexcept { return a.compare(b) <= 0; }
    friend bool operator>(const Version& a, const Version& b) noexcept { return a.compare(b) > 0; }
    friend bool operator>=(const Version& a, const Version& b) noexcept { return a.compare(b) >= 0; }

private:
    std::uint32_t epoch_ = 0;
    std::string upstream_ = "0";
    std::string revision_;
};

}  // namespace bex::stream
