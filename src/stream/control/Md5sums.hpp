#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bex::stream {

/// One line of the control member "md5sums": a view of the text it was read from, for there may be a million.
struct Md5sum {
    std::string_view digest;  ///< 32 hexadecimal digits of either case
    std::string_view path;    ///< unchanged; by custom relative to the root, without "./"
};

/// Reads "DIGEST  PATH" lines (deb-md5sums(5)), and "DIGEST *PATH" lines, which md5sum(1) writes for binary mode.
/// Paths are raw bytes to the end of the line. This file escapes nothing: a backslash is itself, and a path with a
/// newline cannot be listed.
/// Throws StreamError (`damaged`) as `NAME:LINE: reason`.
std::vector<Md5sum> parseMd5sums(std::string_view text, std::string_view name);

/// The line for one file, newline included. `path` must hold no newline.
std::string formatMd5sum(const Md5sum& sum);

}  // namespace bex::stream
