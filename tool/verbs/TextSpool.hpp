#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "stream/base/Owners.hpp"

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

    Place add(std::string_view text);
    std::string text(const Place& place) const;

private:
    std::string directory_;
    stream::PlainDescriptor file_;
    std::uint64_t end_ = 0;
};

}  // namespace bex::tool
