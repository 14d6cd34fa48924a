#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "repo/base/Failure.hpp"
#include "stream/base/Owners.hpp"

namespace bex::repo {

/// A text in a temporary file without a name that another process can read, by a path of this process's.
class ScratchCopy {
public:
    explicit ScratchCopy(const std::string& text) : file_(std::tmpfile()) {
        if (file_ == nullptr || std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size() ||
            std::fflush(file_.get()) != 0) {
            throw systemFailure("temporary file", "write it", errno);
        }
    }

    std::string path() const {
        return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fileno(file_.get()));
    }

private:
    stream::PlainFile file_;
};

}  // namespace bex::repo
