#pragma once

#include <sha2.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "bex/stream/Sink.hpp"

namespace bex::stream {

/// The SHA-256 digest (FIPS 180-4) of what is written.
class Sha256 final : public Sink {
public:
    Sha256() { SHA256Init(&context_); }

    void write(const char* data, std::size_t size) override {
        SHA256Update(&context_, reinterpret_cast<const std::uint8_t*>(data), size);
    }

    /// Returns the digest as 64 lower-case hexadecimal digits. Call once, last.
    std::string hexDigest() {
        std::array<char, SHA256_DIGEST_STRING_LENGTH> text{};
        return SHA256End(&context_, text.data());
    }

private:
    SHA2_CTX context_ = {};
};

}  // namespace bex::stream
