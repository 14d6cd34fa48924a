#pragma once

#include <cstddef>
#include <string>

#include "bex/shlibs/Error.hpp"
#include "bex/stream/Escape.hpp"

namespace bex::shlibs {

/// `FILE: reason`.
inline Error failure(ErrorKind kind, const std::string& file, const std::string& reason) {
    return {kind, stream::escapeForDisplay(file) + ": " + reason};
}

inline Error damaged(const std::string& file, const std::string& reason) {
    return failure(ErrorKind::damaged, file, reason);
}

/// `FILE:LINE: reason`; lines are counted from 1.
inline Error damagedLine(const std::string& file, std::size_t line, const std::string& reason) {
    return {ErrorKind::damaged, stream::escapeForDisplay(file) + ":" + std::to_string(line) + ": " + reason};
}

}  // namespace bex::shlibs
