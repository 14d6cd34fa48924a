#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TemporaryDirectory.hpp"
#include "bex/stream/Entry.hpp"
#include "stream/extract/Extraction.hpp"

namespace bex::test::unpacking {

/// Gives the owner all permissions on the directories from here on down.
inline void openUp(const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add);
    for (const auto& found : fs::directory_iterator(folder)) {
        if (found.symlink_status().type() == fs::file_type::directory) {
            openUp(found.path());
        }
    }
}

/// One that its owner can remove whatever was extracted into it.
class RemovableDirectory : public TemporaryDirectory {
public:
    ~RemovableDirectory() { openUp(path()); }
};

struct Item {
    stream::Entry entry;
    std::string contents;
};

constexpr std::int64_t kItemTime = 1234567890;

inline Item item(stream::EntryType type, const std::string& path, std::uint32_t mode, std::string target = {}) {
    Item result;
    result.entry.type = type;
    result.entry.path = path;
    result.entry.mode = mode;
    result.entry.mtime = kItemTime;
    result.entry.linkTarget = std::move(target);
    return result;
}
inline Item file(const std::string& path, std::string contents, std::uint32_t mode = 0644) {
    Item result = item(stream::EntryType::file, path, mode);
    result.entry.size = contents.size();
    result.contents = std::move(contents);
    return result;
}
inline Item directory(const std::string& path, std::uint32_t mode = 0755) {
    return item(stream::EntryType::directory, path, mode);
}
inline Item symlinkTo(const std::string& path, const std::string& target) {
    return item(stream::EntryType::symlink, path, 0777, target);
}
inline Item hardlinkTo(const std::string& path, const std::string& target) {
    return item(stream::EntryType::hardlink, path, 0644, target);
}

/// What the reader does with a package of these items, called "p".
inline void unpack(const std::string& destination, const std::vector<Item>& items,
                   const stream::ExtractOptions& options = {}, stream::System& system = stream::System::real(),
                   unsigned threads = 1) {
    stream::Extraction extraction(destination, "p", options, system, threads);
    try {
        for (const Item& i : items) {
            const bool isLink = i.entry.type == stream::EntryType::hardlink;
            std::string_view rest = i.contents;
            extraction.make(i.entry, stream::plainPath(i.entry.path),
                            isLink ? stream::plainPath(i.entry.linkTarget) : std::string(), [&rest] {
                                return stream::Piece{std::exchange(rest, {}), nullptr};
                            });
        }
    } catch (...) {
        extraction.settle();
        throw;
    }
    extraction.finish();
}

/// Type and mode of what has this name, and contents or target: "f 0644 bytes", "d 0755", "l target"; "" where
/// there is nothing.
inline std::string describe(const std::string& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return {};
    }
    if (S_ISLNK(status.st_mode)) {
        return "l " + std::filesystem::read_symlink(path).string();
    }
    char mode[8] = {};
    std::snprintf(mode, sizeof mode, "%04o", status.st_mode & 07777U);
    if (S_ISREG(status.st_mode)) {
        return std::string("f ") + mode + ' ' + test::bytesOf(path);
    }
    return (S_ISDIR(status.st_mode) ? "d " : "? ") + std::string(mode);
}

using Tree = std::map<std::string, std::string>;

/// All that stands below the folder, described.
inline Tree treeBelow(const std::filesystem::path& folder) {
    Tree tree;
    for (const auto& found : std::filesystem::recursive_directory_iterator(folder)) {
        tree[found.path().lexically_relative(folder).string()] = describe(found.path().string());
    }
    return tree;
}

}  // namespace bex::test::unpacking
