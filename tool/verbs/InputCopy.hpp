#pragma once

#include <string>

namespace bex::tool {

/// Standard input kept in a temporary file, since a package has to know a file's length before its bytes. The file
/// goes with this.
class InputCopy {
public:
    /// Reads all of standard input; an empty `folder` reads nothing. Throws StreamError (`inputOutput`,
    /// `cancelled` after an interrupt).
    explicit InputCopy(const std::string& folder);
    ~InputCopy();
    InputCopy(const InputCopy&) = delete;
    InputCopy& operator=(const InputCopy&) = delete;

    /// "" where nothing was read.
    const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
};

}  // namespace bex::tool
