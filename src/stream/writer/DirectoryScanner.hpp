#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Pattern.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Collection.hpp"

namespace bex::stream {

/// How the root of a tree and its directories are opened.
constexpr int kOpenDirectory = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

EntryType typeOf(mode_t mode) noexcept;

/// What the disk says of a file, as an entry that has `path` in the package. A symlink's target is not in it.
SourceEntry entryOf(const struct stat& status, std::uint32_t origin, std::string path);

/// Directories of a tree, and what they hold: one after the other, each in the order of the disk.
struct ScanJob {
    std::vector<const SourceEntry*> directories;
    std::vector<SourceEntry> entries;
    std::exception_ptr failure;  ///< at the name after these; null: none
};

/// Reads directories of a tree. Several threads may, each others.
class DirectoryScanner {
public:
    /// `root` is the tree's open directory; what matches one of `excluded` is left out. All must outlive this.
    DirectoryScanner(const Collection& collection, System& system, int root, const std::vector<Pattern>& excluded)
        : collection_(collection), system_(system), root_(root), excluded_(excluded) {}

    /// Fills the entries. Throws nothing.
    void scan(ScanJob& job) const;

private:
    void scanNames(const SourceEntry& directory, std::vector<SourceEntry>& entries) const;
    std::optional<SourceEntry> entryOf(int directory, const SourceEntry& parent, const std::string& name) const;
    bool isExcluded(const SourceEntry& parent, const std::string& name) const;
    [[noreturn]] void fail(const SourceEntry& directory, const char* action, int errorNumber) const;

    const Collection& collection_;
    System& system_;
    const int root_;
    const std::vector<Pattern>& excluded_;
};

}  // namespace bex::stream
