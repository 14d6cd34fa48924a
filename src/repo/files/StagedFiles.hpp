#pragma once

#include <deque>
#include <set>
#include <string>
#include <string_view>

#include "stream/system/AtomicFile.hpp"

namespace bex::repo {

/// New files that appear together, or in lots of many where they are more. They are temporary ones until place()
/// gives them their names; destroyed before that, it leaves nothing behind. Waiting for the disk is most of what a
/// small publication does, so that all files are synced at once, and each directory once.
class StagedFiles {
public:
    /// With 1 for `threads`, one file is synced after the other.
    StagedFiles(stream::System& system, unsigned threads) : system_(system), threads_(threads) {}

    /// Writes a temporary file that is to appear under the path. Throws StreamError, as do the others.
    void write(const std::string& path, std::string_view bytes);

    /// Notes a directory whose names were changed elsewhere, for place() to sync it.
    void noteDirectory(const std::string& directory) { directories_.insert(directory); }

    /// Syncs the contents, gives the files their names in the order of write(), and syncs the directories. Where
    /// it fails, each path has its old file or the new one. Afterwards it is empty again.
    void place();

private:
    stream::System& system_;
    unsigned threads_;
    std::deque<stream::AtomicFile> files_;
    std::set<std::string> directories_;
};

}  // namespace bex::repo
