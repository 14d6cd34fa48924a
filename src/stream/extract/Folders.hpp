#pragma once

#include <map>
#include <string>

#include "stream/extract/BeneathFolder.hpp"
#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/RestoredAttributes.hpp"

namespace bex::stream {

/// The directories of an extraction. Each is open to its owner while things are made below it, and gets its
/// attributes when all is made, the deepest first. Memory: each path with its attributes until then.
class Folders {
public:
    /// Both must outlive this.
    Folders(ExtractContext& context, BeneathFolder& parents) : context_(context), parents_(parents) {}
    /// Does what restoreAll() has left, as far as possible: an extraction that failed leaves no directory open
    /// that should not be.
    ~Folders();
    Folders(const Folders&) = delete;
    Folders& operator=(const Folders&) = delete;

    /// Makes the directory, or takes the one that is there. What is no directory is replaced, or an error where
    /// existing files are kept. Throws StreamError.
    void make(const std::string& path, const RestoredAttributes& attributes);

    /// Has the attributes restored of a directory that is there.
    void note(const std::string& path, const RestoredAttributes& attributes) { pending_[path] = attributes; }

    /// Throws StreamError.
    void restoreAll();

private:
    void takeExisting(int parent, const char* name);
    void restoreOne(const std::string& path, const RestoredAttributes& attributes);

    ExtractContext& context_;
    BeneathFolder& parents_;
    std::map<std::string, RestoredAttributes> pending_;  // a path sorts behind those of all folders above it
};

}  // namespace bex::stream
