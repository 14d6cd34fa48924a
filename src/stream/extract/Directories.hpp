#pragma once

#include <map>
#include <string>

#include "stream/extract/DirectoryWalk.hpp"
#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/RestoredAttributes.hpp"

namespace bex::stream {

/// The directories of an extraction. Each is open to its owner until everything is extracted, then gets its
/// attributes, the deepest first. Memory: each path with its attributes until then. Used by one thread at a time.
class Directories {
public:
    /// `root` is the opened destination. Both must outlive this.
    Directories(const ExtractContext& context, int root)
        : context_(context), parents_(context.system, root, "its") {}
    /// Restores what restoreAll() has not, as far as possible, so that a failed extraction leaves no directory
    /// accessible that should not be.
    ~Directories();
    Directories(const Directories&) = delete;
    Directories& operator=(const Directories&) = delete;

    /// Creates the directory, or uses the one that exists; "" is the destination, which does. Treats a file or
    /// link of that name as the options say. Returns false where something is kept as it is. Throws StreamError
    /// about the place.
    bool make(const std::string& path, const RestoredAttributes& attributes, const Place& place);

    /// A descriptor (O_PATH) of the directory that the path is in, valid until the next call of anything here.
    /// Missing directories are made. Throws StreamError as DirectoryWalk::open() does.
    int openParent(const std::string& path, const Place& place) {
        return parents_.open(parentOf(path), DirectoryWalk::Missing::make, place);
    }
    /// The same, for as long as it is held.
    HeldDirectory holdParent(const std::string& path, const Place& place) {
        return parents_.hold(parentOf(path), DirectoryWalk::Missing::make, place);
    }

    /// Throws StreamError.
    void restoreAll();

private:
    bool create(const std::string& path, const Place& place);
    bool useExisting(int parent, const char* name, const Place& place) const;
    void restoreOne(const std::string& path, const RestoredAttributes& attributes);

    const ExtractContext& context_;
    DirectoryWalk parents_;
    std::map<std::string, RestoredAttributes> pending_;  // a path sorts after those of all directories above it
};

}  // namespace bex::stream
