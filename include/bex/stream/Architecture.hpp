#pragma once

#include <string_view>

#include "bex/stream/Export.hpp"

namespace bex::stream {

/// Debian's name of the architecture that this library was built for, as `dpkg --print-architecture` prints it on
/// a system of that architecture: "amd64". "" if Debian has no port for it.
BEX_EXPORT std::string_view nativeArchitecture() noexcept;

/// Debian's name of an architecture that the kernel, compilers, Go or RPM name otherwise: "amd64" for "x86_64",
/// "all" for "noarch". "" for unknown words and for Debian's own names.
BEX_EXPORT std::string_view debianArchitecture(std::string_view foreign) noexcept;

}  // namespace bex::stream
