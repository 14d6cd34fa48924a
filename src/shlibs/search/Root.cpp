#include "shlibs/search/Root.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <deque>
#include <filesystem>
#include <system_error>
#include <vector>

#include "shlibs/elf/ElfFile.hpp"
#include "stream/base/Owners.hpp"

namespace bex::shlibs {

namespace {

namespace fs = std::filesystem;

/// As many symlinks as the kernel follows.
constexpr unsigned kMaximumLinks = 40;

/// Without empty components and "."; ".." stays, since it means something only once symlinks are followed.
std::deque<std::string> componentsOf(std::string_view path) {
    std::deque<std::string> components;
    while (!path.empty()) {
        const std::size_t slash = std::min(path.find('/'), path.size());
        if (slash > 0 && path.substr(0, slash) != ".") {
            components.emplace_back(path.substr(0, slash));
        }
        path.remove_prefix(std::min(slash + 1, path.size()));
    }
    return components;
}

std::string parentOf(const std::string& path) {
    if (path.empty()) {
        return path;  // the root's parent is the root
    }
    return path.substr(0, path.rfind('/'));
}

/// Follows symlinks of a tree as a process would for which the tree is "/". `linkAt` gives the target of a
/// symlink, or "" for anything else. Nothing where there are too many.
template <typename LinkAt>
std::optional<std::string> resolve(const std::string& path, LinkAt&& linkAt) {
    // `done` has no symlinks in it and begins with "/" or is empty, which is the root. Each round takes one
    // component off `left`; only symlinks add to it, and their number is bounded.
    std::deque<std::string> left = componentsOf(path);
    std::string done;
    unsigned links = 0;
    while (!left.empty()) {
        const std::string component = std::move(left.front());
        left.pop_front();
        if (component == "..") {
            done = parentOf(done);
            continue;
        }
        const std::string target = linkAt(done + "/" + component);
        if (target.empty()) {
            done += "/" + component;
            continue;
        }
        if (++links > kMaximumLinks) {
            return std::nullopt;
        }
        // An absolute target begins at the root of the tree, so that it never leads out of it.
        if (target.front() == '/') {
            done.clear();
        }
        const std::deque<std::string> further = componentsOf(target);
        left.insert(left.begin(), further.begin(), further.end());
    }
    return done;
}

/// Nothing for what cannot be read, is not a regular file, or is not ELF: the search takes the next candidate.
std::optional<Machine> machineOfFile(const std::string& path) {
    const stream::PlainDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    std::array<char, kElfHeaderBytes> header{};
    // One call: machineOf() refuses a header that came in part.
    const ssize_t size = ::pread(file.get(), header.data(), header.size(), 0);
    if (size <= 0) {
        return std::nullopt;
    }
    return machineOf({header.data(), static_cast<std::size_t>(size)});
}

}  // namespace

// No path is a symlink here, so that resolving is left with ".", ".." and doubled slashes, and never fails.
std::string plainAbsolute(std::string_view path) {
    return resolve(std::string(path), [](const std::string&) { return std::string(); }).value_or("");
}

std::string DiskRoot::realPath(const std::string& path) {
    const auto linkAt = [this](const std::string& place) {
        std::error_code failure;
        // Empty on any failure, which means "not a symlink": the path is then used as it is.
        return fs::read_symlink(directory_ + place, failure).string();
    };
    return resolve(path, linkAt).value_or(path);
}

std::optional<Machine> DiskRoot::machineAt(const std::string& path) {
    // The answer is kept, "no library" too: a tree is taken not to change during one search.
    const auto [place, isNew] = known_.try_emplace(path);
    if (isNew) {
        place->second = readMachine(path);
    }
    return place->second;
}

std::optional<Machine> DiskRoot::readMachine(const std::string& path) {
    // The machine's own root: the kernel follows its symlinks.
    if (directory_.empty()) {
        return machineOfFile(path);
    }
    std::error_code failure;
    // Most paths that are asked for do not exist, and the kernel says so at once.
    if (!fs::exists(fs::symlink_status(directory_ + path, failure))) {
        return std::nullopt;
    }
    return machineOfFile(directory_ + realPath(path));
}

std::string PackageRoot::realPath(const std::string& path) {
    const auto linkAt = [this](const std::string& place) {
        const auto found = files_.find(place);
        if (found == files_.end()) {
            return std::string();
        }
        return found->second.target;
    };
    return resolve(path, linkAt).value_or(path);
}

std::optional<Machine> PackageRoot::machineAt(const std::string& path) {
    // realPath() leaves out "." and doubled slashes; entries were added under such plain paths too.
    const auto found = files_.find(realPath(path));
    if (found == files_.end()) {
        return std::nullopt;
    }
    return found->second.machine;
}

std::string PackageRoot::directoryWith(std::string_view name) const {
    for (const auto& [path, file] : files_) {
        const std::size_t slash = path.rfind('/');
        if (std::string_view(path).substr(slash + 1) == name) {
            return path.substr(0, slash);
        }
    }
    return {};
}

}  // namespace bex::shlibs
