#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Collection.hpp"

namespace bex::stream {

/// Reads collected files, each exactly as it was found or not at all. Memory: one buffer.
class FileReader {
public:
    using Consumer = std::function<void(std::string_view)>;

    /// Both must outlive this.
    FileReader(const Collection& collection, System& system);

    /// Gives the contents of a file, from disk or from memory, piece by piece to `consume`, `file.size` bytes in
    /// all. Throws StreamError (`inputOutput`), before the first piece where that can be known, when the file is
    /// not what was found (device, inode, type, mode, size, time), and at its end when it changed meanwhile.
    void read(const SourceEntry& file, const Consumer& consume);

    /// Throws StreamError (`inputOutput`) unless a name of a file with several still leads to that file.
    void checkName(const SourceEntry& file);

private:
    int folderOf(const SourceEntry& file);
    void readFromDisk(const SourceEntry& file, const Consumer& consume);
    void readExactly(int descriptor, const SourceEntry& file, const Consumer& consume);
    std::size_t readSome(int descriptor, const SourceEntry& file, std::size_t size);
    struct stat statusOf(int descriptor, const SourceEntry& file);
    [[noreturn]] void failCall(const SourceEntry& file, const char* action, int errorNumber) const;
    [[noreturn]] void fail(const SourceEntry& file, const char* reason) const;

    const Collection& collection_;
    System& system_;
    std::vector<char> buffer_;
    Descriptor root_;  ///< of the tree that was read last
    std::uint32_t rootOrigin_ = SourceEntry::kNotFromDisk;
};

}  // namespace bex::stream
