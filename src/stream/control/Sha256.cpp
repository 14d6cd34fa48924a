#include "stream/control/Sha256.hpp"

#include <array>
#include <cstdint>

namespace bex::stream {

Sha256::Sha256() {
    SHA256Init(&context_);
}

void Sha256::write(const char* data, std::size_t size) {
    SHA256Update(&context_, reinterpret_cast<const std::uint8_t*>(data), size);
}

std::string Sha256::hexDigest() {
    std::array<char, SHA256_DIGEST_STRING_LENGTH> text{};
    return SHA256End(&context_, text.data());
}

}  // namespace bex::stream
