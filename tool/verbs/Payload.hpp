#pragma once

#include <string>
#include <vector>

#include "bex/buildfile/BuildFile.hpp"
#include "bex/shlibs/Dependencies.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "verbs/Strip.hpp"

namespace bex::tool {

/// Adds files, trees and symlinks to a writer, with stripped copies in the place of files that have one. Where the
/// writer's control paragraph asks for dependencies on shared libraries, keeps a list of what was added.
class Payload {
public:
    /// Both must outlive this.
    Payload(stream::PackageWriter& writer, StrippedFiles& stripped);

    /// For whatever is neither from disk nor a symlink.
    stream::PackageWriter& writer() noexcept { return writer_; }

    /// These throw what the writer's functions of the same names throw, and what StrippedFiles::copyOf() throws.
    void addTree(const std::string& tree, stream::TreeOptions options);
    void addFile(const std::string& source, const std::string& path);
    void addSymlink(const std::string& target, const std::string& path);

    /// Adds what the build file describes, control members too. Throws what BuildFile::addTo() throws.
    void addBuildFile(const buildfile::BuildFile& file);

    /// The regular files and symlinks that were added; none where the control paragraph does not ask for
    /// dependencies.
    const std::vector<shlibs::PackagedFile>& files() const noexcept { return files_; }

private:
    void list(std::string path, std::string source, std::string linkTarget);

    stream::PackageWriter& writer_;
    StrippedFiles& stripped_;
    bool listsFiles_;
    std::vector<shlibs::PackagedFile> files_;
};

}  // namespace bex::tool
