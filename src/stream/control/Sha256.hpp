#pragma once

#include <sha2.h>

#include <cstddef>
#include <string>

#include "bex/stream/Sink.hpp"

namespace bex::stream {

/// The SHA-256 digest (FIPS 180-4) of what is written.
class Sha256 final : public Sink {
public:
    Sha256();

    void write(const char* data, std::size_t size) override;

    /// Returns the digest as 64 lower-case hexadecimal digits. Call once, last.
    std::string hexDigest();

private:
    SHA2_CTX context_;
};

}  // namespace bex::stream
