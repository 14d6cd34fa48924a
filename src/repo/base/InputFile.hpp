#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace bex::repo {

/// A file that is open for reading.
class InputFile {
public:
    /// Messages call it `name`. Opens without waiting, whatever the path leads to. Throws StreamError
    /// (`inputOutput`).
    InputFile(const std::string& path, std::string name);
    ~InputFile() { ::close(descriptor_); }  // Only read from: there is nothing that a close could lose.
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    struct stat status() const;

    /// Reads until `size` bytes are there or the file ends, and returns how many there are.
    std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size) const;

private:
    std::string name_;
    int descriptor_;
};

/// Everything in the file, which may be a pipe, in which case it is read to its end; "-" is standard input.
std::string readWholeFile(const std::string& path);

}  // namespace bex::repo
