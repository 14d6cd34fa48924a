#pragma once

#include <string>

namespace bex::tool {

/// Standard input kept in an unnamed file on disk, since a package needs to know a file's length before its bytes.
class InputCopy {
public:
    /// Reads all of standard input; an empty `folder` reads nothing. Throws StreamError (`inputOutput`).
    explicit InputCopy(const std::string& folder);
    ~InputCopy();
    InputCopy(const InputCopy&) = delete;
    InputCopy& operator=(const InputCopy&) = delete;

    /// A path under which the copy can be opened while this lives; "" where nothing was read.
    std::string path() const;

private:
    int descriptor_ = -1;
};

}  // namespace bex::tool
