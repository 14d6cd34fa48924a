#pragma once

#include <list>
#include <string>

#include "bex/Export.hpp"

namespace bex {

/// Flattens directory trees into lists of paths. There is one instance, without a lock: use it from one thread
/// at a time.
class BEX_EXPORT ZRBexUtils {
public:
    ZRBexUtils(const ZRBexUtils&) = delete;
    ZRBexUtils& operator=(const ZRBexUtils&) = delete;

    /// Returns the instance. Makes it at the first call and at the first call after kill(). The caller must not
    /// delete it.
    static ZRBexUtils* getInstance();

    /// Deletes the instance, if there is one. Pointers that getInstance() returned become invalid.
    static void kill();

    /// Lists `dir`, which must end in "/", and everything below it. Each path begins with `dir`; directories end
    /// in "/". The caller deletes the list.
    ///
    /// The entries of a directory come in the order of the file system. The list of each subdirectory is merged
    /// (`std::list::merge`) into the list before it. Symbolic links to directories are followed; in a cycle, until
    /// the file system refuses the path. Throws Boost's error for a directory that cannot be read.
    std::list<std::string>* scanDir(std::string dir);

private:
    ZRBexUtils();
    ~ZRBexUtils();

    static ZRBexUtils* instance_;
};

}  // namespace bex
