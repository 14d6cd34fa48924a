#include "stream/control/Md5.hpp"

#include <array>
#include <cstdint>

namespace bex::stream {

Md5::Md5() : context_() {
    MD5Init(&context_);
}

void Md5::update(const char* data, std::size_t size) {
    MD5Update(&context_, reinterpret_cast<const std::uint8_t*>(data), size);
}

std::string Md5::hexDigest() const {
    MD5_CTX finished = context_;
    std::array<char, MD5_DIGEST_STRING_LENGTH> text{};
    MD5End(&finished, text.data());
    return text.data();
}

}  // namespace bex::stream
