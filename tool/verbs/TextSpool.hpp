#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace bex::tool {

/// Keeps texts in an unnamed file of the directory for temporary files, which is gone when the program ends,
/// however it ends. Throws StreamError (`inputOutput`).
class TextSpool {
public:
    struct Place {
        std::uint64_t offset = 0;
        std::size_t size = 0;
    };

    TextSpool();
    ~TextSpool();
    TextSpool(const TextSpool&) = delete;
    TextSpool& operator=(const TextSpool&) = delete;

    Place add(std::string_view text);
    std::string text(const Place& place) const;

private:
    std::string directory_;
    int descriptor_;
    std::uint64_t end_ = 0;
};

}  // namespace bex::tool
