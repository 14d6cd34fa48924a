#pragma once

#include <map>
#include <string>

#include "stream/extract/DirectoryWalk.hpp"
#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/RestoredAttributes.hpp"

namespace bex::stream {

/// The directories of an extraction. Each is open to its owner until everything is extracted, then gets its
/// attributes, the deepest first. Memory: each path with its attributes until then.
class Directories {
public:
    /// Both must outlive this.
    Directories(ExtractContext& context, DirectoryWalk& parents) : context_(context), parents_(parents) {}
    /// Restores what restoreAll() has not, as far as possible, so that a failed extraction leaves no directory
    /// accessible that should not be.
    ~Directories();
    Directories(const Directories&) = delete;
    Directories& operator=(const Directories&) = delete;

    /// Creates the directory, or uses the one that exists. Treats a file or link of that name as the options say.
    /// Returns false where something is kept as it is. Throws StreamError.
    bool make(const std::string& path, const RestoredAttributes& attributes);

    /// Sets these attributes when restoreAll() runs; the directory exists.
    void restoreLater(const std::string& path, const RestoredAttributes& attributes) {
        pending_[path] = attributes;
    }

    /// Throws StreamError.
    void restoreAll();

private:
    bool useExisting(int parent, const char* name);
    void restoreOne(const std::string& path, const RestoredAttributes& attributes);

    ExtractContext& context_;
    DirectoryWalk& parents_;
    std::map<std::string, RestoredAttributes> pending_;  // a path sorts after those of all directories above it
};

}  // namespace bex::stream
