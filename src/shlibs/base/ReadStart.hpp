#pragma once

#include <cerrno>
#include <cstddef>
#include <string>

#include "shlibs/base/Failure.hpp"
#include "stream/base/DescriptorBytes.hpp"

namespace bex::shlibs {

/// Reads the first `size` bytes of an open file, or all of a shorter one, and returns how many there are. `name`
/// is the file in the StreamError (`inputOutput`) that it throws.
inline std::size_t readStart(int descriptor, char* buffer, std::size_t size, const std::string& name) {
    const ssize_t count = stream::readAll(descriptor, buffer, size, 0);
    if (count < 0) {
        throw systemFailure(name, errno);
    }
    return static_cast<std::size_t>(count);
}

}  // namespace bex::shlibs
