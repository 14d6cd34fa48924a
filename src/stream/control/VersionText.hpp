#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace bex::stream {

/// The parts of "[epoch:]upstream[-revision]" (deb-version(7)), as views of the text.
struct VersionText {
    std::uint32_t epoch = 0;
    std::string_view upstream;
    std::string_view revision;
    /// Why the text is not a version, as the rest of a sentence about it, such as "must begin with a digit";
    /// empty when it is one. The parts hold only then.
    std::string fault;
};

/// Takes a version apart. Refuses what dpkg refuses in a control file.
VersionText readVersion(std::string_view text);

}  // namespace bex::stream
