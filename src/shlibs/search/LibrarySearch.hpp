#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shlibs/base/Architecture.hpp"
#include "shlibs/search/Root.hpp"

namespace bex::shlibs {

/// What decides where one file's libraries are looked for.
struct SearchFrom {
    Machine machine;
    std::string origin;                   ///< the directory of the file, for $ORIGIN
    std::vector<std::string> searchPath;  ///< its DT_RUNPATH or DT_RPATH
};

/// The directories of ld.so(8), in the order of dpkg-shlibdeps(1): the file's own path, private directories, those
/// of the architecture where it is not the machine's own, /lib and /usr/lib, ld.so.conf, those of the
/// architecture, /lib32, /usr/lib32, /lib64, /usr/lib64.
class LibrarySearch {
public:
    /// `sysroot` is where ld.so.conf is read; `native` the architecture of the machine or "".
    LibrarySearch(const std::string& sysroot, std::string native);

    /// The directories to look into for that file, its own path expanded, `libdirs` after it, each once.
    std::vector<std::string> directoriesFor(const SearchFrom& from, const std::vector<std::string>& libdirs) const;

    /// The path of the library in the root, or nothing. `directories` are those for the file. A name with a slash
    /// is a path; libraries of other machines are passed over.
    static std::optional<std::string> find(const std::string& library, const SearchFrom& from,
                                           const std::vector<std::string>& directories, Root& root);

private:
    std::string native_;
    std::vector<std::string> configured_;  ///< the directories of ld.so.conf
};

}  // namespace bex::shlibs
