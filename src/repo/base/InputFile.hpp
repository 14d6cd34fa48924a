#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "stream/base/Owners.hpp"

namespace bex::repo {

/// A file that is open for reading.
class InputFile {
public:
    /// Messages call it `name`. Opens without waiting, whatever the path leads to. Throws StreamError
    /// (`inputOutput`).
    InputFile(const std::string& path, std::string name);

    struct stat status() const;

    /// Reads until `size` bytes are there or the file ends, and returns how many there are.
    std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size) const;

private:
    std::string name_;
    stream::PlainDescriptor file_;
};

/// Everything in the file, which may be a pipe, in which case it is read to its end; "-" is standard input.
std::string readWholeFile(const std::string& path);

}  // namespace bex::repo
