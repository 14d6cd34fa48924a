#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "stream/control/Md5.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Collection.hpp"

namespace bex::stream {

/// Reads the contents of collected files, each exactly as it was found or not at all. Memory: one buffer.
class FileReader {
public:
    using Consumer = std::function<void(std::string_view)>;

    /// Both must outlive this.
    FileReader(const Collection& collection, System& system);

    /// Hands the contents of a file to `consume` piece by piece, `file.size` bytes in all, and adds them to `sum`,
    /// which must be new; null where `consume` itself compares them with what they have to be.
    /// Throws StreamError (`inputOutput`), before the first piece where that can be known, when a file on disk is
    /// not what was found (device, inode, type, mode, owner, size, time), and at its end when it changed
    /// meanwhile.
    void read(const SourceEntry& file, const Consumer& consume, Md5* sum);

    /// Throws StreamError (`inputOutput`) unless a name of a file with several still leads to that file.
    void checkName(const SourceEntry& file);

private:
    void readFromMemory(const SourceEntry& file, const Consumer& consume) const;
    void readFromReader(const SourceEntry& file, const Consumer& consume);
    void readFromDisk(const SourceEntry& file, const Consumer& consume, Md5* sum);
    void readOpened(int descriptor, const SourceEntry& file, const Consumer& consume, Md5* sum);
    void readExactly(int descriptor, const SourceEntry& file, const Consumer& consume);
    void requireSameContents(int descriptor, const SourceEntry& file, const Md5& sum);
    std::size_t readSome(int descriptor, const SourceEntry& file, std::uint64_t offset, std::size_t size);
    Descriptor open(const SourceEntry& file);
    int treeOf(const SourceEntry& file);
    struct stat statusOf(int descriptor, const SourceEntry& file);
    [[noreturn]] void failCall(const SourceEntry& file, const char* action, int errorNumber) const;
    [[noreturn]] void fail(const SourceEntry& file, const char* reason) const;

    const Collection& collection_;
    System& system_;
    std::vector<char> buffer_;
    Descriptor root_;  ///< of the tree that was read last
    std::uint32_t rootOrigin_ = SourceEntry::kNoOrigin;
};

}  // namespace bex::stream
