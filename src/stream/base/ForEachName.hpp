#pragma once

#include <dirent.h>

#include <cerrno>
#include <string_view>

namespace bex::stream {

/// Calls take(entry) with each entry of a directory but "." and "..". next() returns entries as readdir(3) does,
/// with null both at the end and for an error, which errno alone tells apart. Returns 0, or the error number.
template <typename Next, typename Take>
int forEachName(Next next, Take take) {
    for (;;) {
        // Before each call: readdir(3) leaves it alone at the end, and `take` may have set it.
        errno = 0;
        const dirent* const entry = next();
        if (entry == nullptr) {
            return errno;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            take(*entry);
        }
    }
}

}  // namespace bex::stream
