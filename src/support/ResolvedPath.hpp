#pragma once

#include <cstdlib>
#include <memory>
#include <string>

namespace bex {

struct FreeText {
    void operator()(char* text) const noexcept { std::free(text); }
};

/// Returns the absolute path without symbolic links, "." and "..", or an empty string and errno when a part of
/// it does not exist or cannot be read (realpath(3)).
inline std::string resolvedPath(const std::string& path) {
    const std::unique_ptr<char, FreeText> text(::realpath(path.c_str(), nullptr));
    return text == nullptr ? std::string() : std::string(text.get());
}

}  // namespace bex
