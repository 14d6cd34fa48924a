#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "stream/base/Turns.hpp"
#include "stream/codec/KeptBytes.hpp"
#include "stream/extract/Directories.hpp"
#include "stream/extract/DirectoryWalk.hpp"
#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/LargeFile.hpp"
#include "stream/extract/RestoredAttributes.hpp"

namespace bex::stream {

/// Directories, symlinks, small files with their contents, and parts of large ones, collected by one thread and
/// made by another.
class EntryBatch {
public:
    /// Larger files are LargeFile. A full batch repays the cost of handing it to another thread.
    static constexpr std::size_t kSmallFileBytes = std::size_t{128} << 10;

    /// Of all kinds of entry: `path` is the plain path, `entryPath` what messages call it.
    void addDirectory(const std::string& path, const std::string& entryPath, const RestoredAttributes& attributes);
    void addSymlink(const std::string& path, const std::string& entryPath, const RestoredAttributes& attributes,
                    const std::string& target);
    /// Begins a small file.
    void begin(const std::string& path, const std::string& entryPath, const RestoredAttributes& attributes);
    /// Begins the part of the large file that lies at `offset`.
    void beginPart(std::shared_ptr<LargeFile> file, std::uint64_t offset);

    /// Adds to the contents of what was begun last and returns how many bytes there was room for: for those of a
    /// small file there always is.
    std::size_t write(const Piece& piece);
    /// The part that was begun last is the file's last one.
    void endPart() { items_.back().part.last = true; }
    /// Takes back what was begun last: it has not all of its contents.
    void dropLast();

    bool empty() const noexcept { return items_.empty(); }
    bool full() const noexcept {
        return contents_.size() >= kFullBytes || items_.size() >= kFullItems || parents_ >= kFullParents;
    }

    /// Makes the entries and empties the batch. The directories come first, and are opened, in the batch's turn:
    /// so they are made in the order of the package, whichever thread makes them. Throws StreamError at the first
    /// entry that fails, which is removed; none after it is made.
    void make(ExtractContext& context, Directories& directories, Turns& order);

    std::uint64_t number = 0;  ///< the batch's place in the order of batches, and its turn

private:
    static constexpr std::size_t kFullBytes = std::size_t{128} << 10;
    static constexpr std::size_t kMostBytes = kFullBytes + kSmallFileBytes;
    static constexpr std::size_t kFullItems = 64;
    static constexpr std::size_t kFullParents = 8;  // each is a descriptor while the batch is made

    enum class Kind : std::uint8_t { directory, symlink, file, part };

    struct Item {
        Kind kind = Kind::file;
        KeptBytes::Part contents;  // of a file or a part
        // Of all but a part.
        std::string path;
        std::string entryPath;
        RestoredAttributes attributes;
        HeldDirectory parent;  // of a file or symlink, opened in the batch's turn
        std::string target;    // of a symlink
        // Of a part.
        std::shared_ptr<LargeFile> large;
        LargeFile::Part part = {};
    };

    Item& add(Kind kind, const std::string& path, const std::string& entryPath,
              const RestoredAttributes& attributes);
    void countParent(const std::string& path);
    void makeAll(std::vector<Item>& items, ExtractContext& context, Directories& directories, Turns& order) const;
    static void prepare(Item& item, ExtractContext& context, Directories& directories);
    void make(const Item& item, ExtractContext& context) const;
    void makeFile(const Item& item, ExtractContext& context) const;

    std::vector<Item> items_;
    std::size_t parents_ = 0;  ///< changes of the directory that files and links are in
    KeptBytes contents_{kMostBytes};
};

}  // namespace bex::stream
