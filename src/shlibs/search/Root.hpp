#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "shlibs/base/Architecture.hpp"

namespace bex::shlibs {

/// A file system tree in which libraries are looked for. Paths are absolute in it: "/usr/lib/libfoo.so.1".
class Root {
public:
    virtual ~Root() = default;

    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

    /// The machine of the ELF file that the path leads to, through symlinks that stay in the tree; nothing where
    /// there is no such file.
    virtual std::optional<Machine> machineAt(const std::string& path) = 0;

    /// The path with all symlinks followed; the path itself where that fails.
    virtual std::string realPath(const std::string& path) = 0;

protected:
    Root() = default;
};

/// A directory of the disk. Answers are remembered.
class DiskRoot : public Root {
public:
    /// `directory` is "" for the whole machine.
    explicit DiskRoot(std::string directory) : directory_(std::move(directory)) {}

    std::optional<Machine> machineAt(const std::string& path) override;
    std::string realPath(const std::string& path) override;
    const std::string& directory() const noexcept { return directory_; }

private:
    std::optional<Machine> readMachine(const std::string& path);

    std::string directory_;
    std::unordered_map<std::string, std::optional<Machine>> known_;
};

/// The payload of a package, as far as it has been read.
class PackageRoot : public Root {
public:
    void addLibrary(const std::string& path, const Machine& machine) { files_[path] = {machine, {}}; }
    void addSymlink(const std::string& path, const std::string& target) { files_[path] = {std::nullopt, target}; }

    std::optional<Machine> machineAt(const std::string& path) override;
    std::string realPath(const std::string& path) override;

    /// The directories that have an entry of that name.
    std::string directoryWith(std::string_view name) const;

private:
    struct File {
        std::optional<Machine> machine;
        std::string target;
    };

    std::map<std::string, File> files_;
};

/// The path without ".", ".." and doubled slashes, by its text alone: "/a/../b//c" gives "/b/c".
std::string plainAbsolute(std::string_view path);

}  // namespace bex::shlibs
