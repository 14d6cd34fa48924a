#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bex::stream {

/// One line of the control member "md5sums".
struct Md5sum {
    std::string digest;  ///< 32 lower-case hexadecimal digits
    std::string path;    ///< as it stands; by custom relative to the root, without "./"
};

/// Reads "DIGEST  PATH" lines (deb-md5sums(5)); "DIGEST *PATH", which md5sum(1) writes for binary mode, too.
/// Paths are raw bytes to the end of the line: nothing is escaped in this file, so that a path with a backslash
/// stands as it is and one with a newline cannot stand at all. Digits may be of either case.
/// Throws StreamError (`damaged`) as `NAME:LINE: reason`.
std::vector<Md5sum> parseMd5sums(std::string_view text, std::string_view name);

/// The line for one file, newline included. `path` must hold no newline.
std::string formatMd5sum(const Md5sum& sum);

}  // namespace bex::stream
