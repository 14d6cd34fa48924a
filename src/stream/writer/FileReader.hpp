#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "stream/codec/Buffer.hpp"
#include "stream/control/Md5.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Collection.hpp"

namespace bex::stream {

/// When a file last changed in any way (st_ctime), before and after it was read; both 0 for what is not on disk.
struct ChangeTimes {
    struct timespec before {};
    struct timespec after {};

    bool differ() const noexcept;
};

/// Reads the contents of collected files, each exactly as it was found or not at all. Used by one thread at a
/// time; several may each have one.
class FileReader {
public:
    using Consumer = std::function<void(std::string_view)>;

    /// Both must outlive this.
    FileReader(const Collection& collection, System& system) : collection_(collection), system_(system) {}

    /// Copies `size` bytes of the file's contents, from `offset` on, to `to`. The parts may be read in any order
    /// and by several readers. Throws StreamError (`inputOutput`) if a file on disk is not what was found (device,
    /// inode, type, mode, owner, size, time) before or after the part is read. If any two of the change times that
    /// the parts return differ, the file may have changed in secret: requireSameContents() decides.
    ChangeTimes readPart(const SourceEntry& file, std::uint64_t offset, char* to, std::size_t size);

    /// Reads the file once more and throws StreamError (`inputOutput`) unless it has this sum. The change time
    /// also changes when a file gets another name, so that only the contents can tell.
    void requireSameContents(const SourceEntry& file, const Md5::HexDigest& digest);

    /// Hands the contents to `consume` piece by piece. Throws as readPart(), but ignores change times: for
    /// contents that are compared with what they have to be.
    void read(const SourceEntry& file, const Consumer& consume);

    /// Throws StreamError (`inputOutput`) unless a name of a file with several still leads to that file.
    void checkName(const SourceEntry& file);

private:
    void readFromReader(const SourceEntry& file, std::uint64_t offset, char* to, std::size_t size) const;
    ChangeTimes readFromDisk(const SourceEntry& file, std::uint64_t offset, char* to, std::size_t size);
    ChangeTimes readOpened(int descriptor, const SourceEntry& file, std::uint64_t offset, char* to,
                           std::size_t size);
    void readExactly(int descriptor, const SourceEntry& file, std::uint64_t offset, char* to, std::size_t size);
    std::size_t readSome(int descriptor, const SourceEntry& file, std::uint64_t offset, char* to,
                         std::size_t size);
    Descriptor open(const SourceEntry& file);
    int treeOf(const SourceEntry& file);
    struct stat statusOf(int descriptor, const SourceEntry& file);
    [[noreturn]] void failCall(const SourceEntry& file, const char* action, int errorNumber) const;
    [[noreturn]] void fail(const SourceEntry& file, const char* reason) const;

    const Collection& collection_;
    System& system_;
    Buffer buffer_;    ///< of read()
    Descriptor root_;  ///< of the tree that was read last
    std::uint32_t rootOrigin_ = SourceEntry::kNoOrigin;
};

}  // namespace bex::stream
