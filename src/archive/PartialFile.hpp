#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>

namespace bex {

/// Removes an incomplete regular file at the end of the block, unless keep() is called. Never removes a symbolic
/// link, a device or a pipe.
class PartialFile {
public:
    explicit PartialFile(std::string path) : path_(std::move(path)) {}
    ~PartialFile() {
        // The results are ignored: the caller reports the failure that led here.
        struct stat attributes = {};
        if (!kept_ && ::lstat(path_.c_str(), &attributes) == 0 && S_ISREG(attributes.st_mode)) {
            ::unlink(path_.c_str());
        }
    }

    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    const std::string& path() const { return path_; }
    void keep() { kept_ = true; }

private:
    std::string path_;
    bool kept_ = false;
};

}  // namespace bex
