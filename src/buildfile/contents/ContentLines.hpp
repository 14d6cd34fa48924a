#pragma once

#include <string>

#include "buildfile/contents/DirectoryWalk.hpp"
#include "buildfile/contents/Glob.hpp"
#include "buildfile/contents/Payload.hpp"
#include "buildfile/model/Description.hpp"

namespace bex::buildfile {

/// Makes the items of a payload from the lines of `contents`.
class ContentLines {
public:
    /// Both must outlive this.
    ContentLines(const Description& description, Payload& payload)
        : description_(description), payload_(payload) {}

    /// Adds what the line brings to the payload, or changes what earlier lines brought if it has no src. Throws
    /// StreamError, at the line's place in the build file, for what does not exist or is not allowed.
    void add(const Content& line);
    /// Adds a file of this machine under the path, which is plain, with mode 0644.
    void addFile(const NamedPath& source, const std::string& path);

private:
    void addSymlink(const Content& line);
    void addDirectory(const Content& line);
    void addTree(const Content& line);
    void addFiles(const Content& line);
    void addFilesBelow(const Content& line);
    void addGlob(const Content& line);
    void addOne(const Content& line);
    void addWalked(const Content& line, const DirectoryWalk& walk);
    void refine(const Content& line);

    stream::Entry entryOf(const Content& line) const;
    Glob globOf(const std::string& pattern, Spot at) const;
    std::string pathOf(const Content& line) const;

    const Description& description_;
    Payload& payload_;
};

}  // namespace bex::buildfile
