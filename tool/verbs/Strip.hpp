#pragma once

#include <map>
#include <string>
#include <utility>

#include "output/Context.hpp"

namespace bex::tool {

enum class StripKind {
    none,   ///< files are packaged as they are
    drop,   ///< symbols and debugging information are left out
    dbgsym  ///< they go to files of their own, for a package NAME-dbgsym
};

/// Stripped copies of programs and libraries in a temporary directory, made by objcopy and strip of binutils or
/// llvm (of the file's machine: TRIPLET-strip, llvm-strip, strip), and their debugging information. The files
/// themselves stay as they are. Everything is removed with this.
class StrippedFiles {
public:
    StrippedFiles(StripKind kind, bool keepOwner, Context& context)
        : kind_(kind), keepOwner_(keepOwner), context_(context) {}
    ~StrippedFiles();
    StrippedFiles(const StrippedFiles&) = delete;
    StrippedFiles& operator=(const StrippedFiles&) = delete;

    bool strips() const noexcept { return kind_ != StripKind::none; }

    /// The stripped copy of a regular file, with its mode and times; "" where the file is to be packaged as it is:
    /// not ELF, an object file, nothing to strip, or, for `dbgsym`, without a build ID, which is noted.
    /// A hard link to a file that has a copy has the same copy.
    std::string copyOf(const std::string& path);

    /// Files of debugging information by their build IDs.
    const std::map<std::string, std::string>& debugFiles() const noexcept { return debugFiles_; }

private:
    std::string strip(const std::string& path);
    std::string makeDebugFile(const std::string& path, const std::string& buildId, const std::string& multiarch);
    const std::string& directory();

    StripKind kind_;
    bool keepOwner_;
    Context& context_;
    std::string directory_;
    std::map<std::pair<unsigned long, unsigned long>, std::string> copies_;  ///< by device and inode
    std::map<std::string, std::string> debugFiles_;
};

/// The path of a file of debugging information in a package, where gdb(1) looks for it by its build ID.
std::string debugPathOf(const std::string& buildId);

}  // namespace bex::tool
