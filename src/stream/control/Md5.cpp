#include "stream/control/Md5.hpp"

#include <cstdint>

namespace bex::stream {

Md5::Md5() : context_() {
    MD5Init(&context_);
}

void Md5::update(const char* data, std::size_t size) {
    MD5Update(&context_, reinterpret_cast<const std::uint8_t*>(data), size);
}

Md5::HexDigest Md5::hex() const noexcept {
    MD5_CTX finished = context_;
    HexDigest text{};
    static_assert(text.size() == MD5_DIGEST_STRING_LENGTH);
    MD5End(&finished, text.data());
    return text;
}

}  // namespace bex::stream
