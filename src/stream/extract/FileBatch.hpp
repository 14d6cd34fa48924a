#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "stream/extract/DirectoryWalk.hpp"
#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/RestoredAttributes.hpp"

namespace bex::stream {

/// Small files with their contents, collected by one thread and made by another.
class FileBatch {
public:
    /// Files up to this size belong in a batch. A full batch repays the cost of handing it to another thread.
    static constexpr std::size_t kSmallFileBytes = std::size_t{128} << 10;

    /// Begins a file: `path` is its plain path, `entryPath` what messages call it.
    void begin(HeldDirectory directory, const std::string& path, const std::string& entryPath,
               const RestoredAttributes& attributes);
    /// Adds to the contents of the file that was begun last.
    void write(std::string_view bytes) {
        contents_.append(bytes);
        files_.back().bytes += bytes.size();
    }
    /// Takes back the file that was begun last: it has not all of its contents.
    void dropLast();

    bool empty() const noexcept { return files_.empty(); }
    bool full() const noexcept {
        return contents_.size() >= kFullBytes || files_.size() >= kFullFiles || directories_ >= kFullDirectories;
    }

    /// Creates the files in order and empties the batch. Throws StreamError at the first that fails, which is
    /// removed; those after it are not created.
    void make(ExtractContext& context);

private:
    static constexpr std::size_t kFullBytes = std::size_t{128} << 10;
    static constexpr std::size_t kFullFiles = 64;
    static constexpr std::size_t kFullDirectories = 8;  // each is a descriptor

    struct File {
        HeldDirectory directory;
        std::string name;
        std::string entryPath;
        RestoredAttributes attributes;
        std::size_t begin;  ///< of its contents in contents_
        std::size_t bytes = 0;
    };

    std::vector<File> files_;
    std::size_t directories_ = 0;  ///< changes of directory among them
    std::string contents_;
};

}  // namespace bex::stream
