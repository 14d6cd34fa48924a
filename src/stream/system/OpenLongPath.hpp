#pragma once

#include <string_view>

#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// Opens `relative` ("" is `directory` itself) below an open directory with `flags`, O_NOFOLLOW and O_CLOEXEC. The
/// path may be longer than the PATH_MAX that one call takes. No descriptor and errno when that fails.
/// A directory on the way that was replaced by a symlink is followed: the caller must compare device and inode
/// of what comes back with what it expects.
Descriptor openLongPath(System& system, int directory, std::string_view relative, int flags);

}  // namespace bex::stream
