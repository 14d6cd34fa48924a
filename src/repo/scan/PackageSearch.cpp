#include "repo/scan/PackageSearch.hpp"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <set>
#include <string_view>
#include <utility>

#include "repo/base/Failure.hpp"
#include "stream/base/ForEachName.hpp"
#include "stream/base/Owners.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

/// The directory without "/" at its end, as names below it begin.
std::string withoutSlashes(std::string name) {
    while (name.size() > 1 && name.back() == '/') {
        name.pop_back();
    }
    return name;
}

class Search {
public:
    explicit Search(const ScanOptions& options) : options_(options) {}

    std::vector<std::string> run() {
        for (const std::string& input : options_.inputs) {
            add(input);
        }
        // Every directory without a link on its way has been seen before the first link is followed.
        while (!directories_.empty() || !links_.empty()) {
            std::deque<std::string>& next = directories_.empty() ? links_ : directories_;
            const std::string directory = std::move(next.front());
            next.pop_front();
            search(directory);
        }
        // Sorted, so that the result depends neither on the order of directories nor on that of the inputs; once
        // each, since an input may lie within another one.
        std::sort(found_.begin(), found_.end());
        found_.erase(std::unique(found_.begin(), found_.end()), found_.end());
        return std::move(found_);
    }

private:
    /// An input that is not a directory is taken whatever its name ends with: the user named it.
    void add(const std::string& input) {
        struct stat status {};
        if (::stat(diskPath(options_.root, input).c_str(), &status) != 0) {
            throw systemFailure(input, "open", errno);
        }
        if (S_ISDIR(status.st_mode)) {
            directories_.push_back(withoutSlashes(input));
        } else {
            found_.push_back(input);
        }
    }

    /// By device and inode, which ends cycles of links and finds a directory once where several paths lead to it.
    bool isFirstVisit(const std::string& directory) {
        struct stat status {};
        if (::stat(diskPath(options_.root, directory).c_str(), &status) != 0) {
            throw systemFailure(directory, "open", errno);
        }
        return visited_.emplace(status.st_dev, status.st_ino).second;
    }

    void search(const std::string& directory) {
        if (!isFirstVisit(directory)) {
            return;
        }
        const stream::PlainDirectory open(::opendir(diskPath(options_.root, directory).c_str()));
        if (open == nullptr) {
            throw systemFailure(directory, "open", errno);
        }
        // Links of one directory are followed in the order of their names: which of two names a package gets must
        // not depend on the order of the file system.
        std::vector<std::string> links;
        const int error = stream::forEachName(
            [&] { return ::readdir(open.get()); },
            [&](const dirent& item) { take(directory + '/' + item.d_name, item.d_type, links); });
        if (error != 0) {
            throw systemFailure(directory, "read", error);
        }
        std::sort(links.begin(), links.end());
        links_.insert(links_.end(), links.begin(), links.end());
    }

    void take(std::string name, unsigned char type, std::vector<std::string>& links) {
        struct stat status {};
        const std::string path = diskPath(options_.root, name);
        // Some file systems keep no types in their directories.
        if (type == DT_UNKNOWN && ::lstat(path.c_str(), &status) == 0) {
            type = static_cast<unsigned char>(IFTODT(status.st_mode));
        }
        if (type == DT_DIR) {
            directories_.push_back(std::move(name));
        } else if (type == DT_LNK && ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
            links.push_back(std::move(name));
        } else if (isPackage(name)) {
            found_.push_back(std::move(name));  // A FIFO or a dangling link, too: the scan says what is wrong.
        }
    }

    bool isPackage(std::string_view name) const {
        return std::any_of(options_.suffixes.begin(), options_.suffixes.end(),
                           [name](const std::string& suffix) { return stream::endsWith(name, suffix); });
    }

    const ScanOptions& options_;
    std::deque<std::string> directories_;
    std::deque<std::string> links_;
    std::set<std::pair<dev_t, ino_t>> visited_;
    std::vector<std::string> found_;
};

}  // namespace

std::string diskPath(const std::string& root, const std::string& name) {
    if (root.empty()) {
        return name;
    }
    return root + '/' + name;
}

std::vector<std::string> findPackages(const ScanOptions& options) {
    return Search(options).run();
}

}  // namespace bex::repo
