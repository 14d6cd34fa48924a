#pragma once

#include <list>
#include <string>

#include "bex/Export.hpp"

namespace bex {

/// Flattens directory trees into lists of paths. The one instance is not guarded: one thread at a time.
class BEX_EXPORT ZRBexUtils {
public:
    ZRBexUtils(const ZRBexUtils&) = delete;
    ZRBexUtils& operator=(const ZRBexUtils&) = delete;

    /// The instance, made at the first call and after kill(). Not the caller's to delete.
    static ZRBexUtils* getInstance();

    /// Deletes the instance, if there is one, and with it every pointer that getInstance() gave out.
    static void kill();

    /// The path `dir`, which has to end in "/", and all that lies below it: each path begins with `dir`,
    /// directories end in "/". The caller deletes the list.
    ///
    /// Entries of one directory come in the order of the file system, and each subdirectory's list is merged
    /// (`std::list::merge`) into what stands before it. Links to directories are followed, cycles included,
    /// until the file system refuses the path. Boost's errors for what cannot be read pass through.
    std::list<std::string>* scanDir(std::string dir);

private:
    ZRBexUtils();
    ~ZRBexUtils();

    static ZRBexUtils* instance_;
};

}  // namespace bex
