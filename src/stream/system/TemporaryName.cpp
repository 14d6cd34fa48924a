#include "stream/system/TemporaryName.hpp"

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace bex::stream {

namespace {

// Two random names of 64 bits never meet; a file system that says so for ever is not believed.
constexpr int kAttempts = 100;

std::string randomName() {
    std::uint64_t number = 0;
    arc4random_buf(&number, sizeof number);
    std::array<char, 24> name = {};
    const int length = std::snprintf(name.data(), name.size(), ".bex-%016" PRIx64, number);
    return {name.data(), static_cast<std::size_t>(length)};
}

}  // namespace

std::string makeTemporary(const std::function<bool(const char* name)>& make) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        std::string name = randomName();
        if (make(name.c_str())) {
            return name;
        }
        // Any other error would come again with the next name.
        if (errno != EEXIST) {
            break;
        }
    }
    return {};
}

}  // namespace bex::stream
