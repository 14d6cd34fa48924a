#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "bex/repo/PackageRecord.hpp"
#include "bex/stream/Limits.hpp"
#include "repo/base/Hasher.hpp"

namespace bex::repo {

/// What a file had when it was looked at: equal stamps mean equal contents, as far as the file system notes
/// changes.
struct FileStamp {
    std::uint64_t size = 0;
    std::int64_t mtimeNs = 0;
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
};

bool operator==(const FileStamp& a, const FileStamp& b) noexcept;

/// The stamp of a package file. Throws StreamError (`refused`, code "not-a-file"; `damaged`, code "truncated") for
/// what is not a regular file with contents.
FileStamp stampOf(const struct stat& status, const std::string& name);

/// The stamp of what the path leads to now. Throws also StreamError (`inputOutput`).
FileStamp stampAt(const std::string& path, const std::string& name);

/// Reads package files, one after the other, in one thread.
class PackageFileReader {
public:
    PackageFileReader(DigestChoice digests, const stream::Limits& limits);

    /// The record, complete but for its filename: the file is opened once and read once, and its control paragraph
    /// is taken from the bytes that are hashed. Messages call it `name`. `stamp` becomes the file's. Throws
    /// StreamError: what PackageReader throws; `refused`, code "changed", where the file, or what the path leads
    /// to, is another one at the end than at the start.
    PackageRecord read(const std::string& path, const std::string& name, FileStamp& stamp);

private:
    Hasher hasher_;
    stream::Limits limits_;
    std::vector<char> buffer_;
};

}  // namespace bex::repo
