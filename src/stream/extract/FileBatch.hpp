#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "stream/codec/KeptBytes.hpp"
#include "stream/extract/DirectoryWalk.hpp"
#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/LargeFile.hpp"
#include "stream/extract/RestoredAttributes.hpp"

namespace bex::stream {

/// Small files with their contents, and parts of large ones, collected by one thread and made by another.
class FileBatch {
public:
    /// Larger files are LargeFile. A full batch repays the cost of handing it to another thread.
    static constexpr std::size_t kSmallFileBytes = std::size_t{128} << 10;

    /// Begins a small file: `path` is its plain path, `entryPath` what messages call it.
    void begin(HeldDirectory directory, const std::string& path, const std::string& entryPath,
               const RestoredAttributes& attributes);
    /// Begins the part of the large file that lies at `offset`.
    void beginPart(std::shared_ptr<LargeFile> file, std::uint64_t offset);

    /// Adds to the contents of what was begun last and returns how many bytes there was room for: for those of a
    /// small file there always is.
    std::size_t write(const Piece& piece);
    /// The part that was begun last is the file's last one.
    void endPart() { files_.back().part.last = true; }
    /// Takes back what was begun last: it has not all of its contents.
    void dropLast();

    bool empty() const noexcept { return files_.empty(); }
    bool full() const noexcept {
        return contents_.size() >= kFullBytes || files_.size() >= kFullFiles || directories_ >= kFullDirectories;
    }

    /// Creates the files in order and empties the batch. Throws StreamError at the first that fails, which is
    /// removed; those after it are not created.
    void make(ExtractContext& context);

    std::uint64_t number = 0;  ///< the batch's place in the order of batches

private:
    static constexpr std::size_t kFullBytes = std::size_t{128} << 10;
    static constexpr std::size_t kMostBytes = kFullBytes + kSmallFileBytes;
    static constexpr std::size_t kFullFiles = 64;
    static constexpr std::size_t kFullDirectories = 8;  // each is a descriptor

    struct File {
        KeptBytes::Part contents;
        // Of a small file.
        HeldDirectory directory;
        std::string name;
        std::string entryPath;
        RestoredAttributes attributes;
        // Of a large one.
        std::shared_ptr<LargeFile> large;
        LargeFile::Part part = {};
    };

    void make(const File& file, ExtractContext& context) const;

    std::vector<File> files_;
    std::size_t directories_ = 0;  ///< changes of directory among them
    KeptBytes contents_{kMostBytes};
};

}  // namespace bex::stream
