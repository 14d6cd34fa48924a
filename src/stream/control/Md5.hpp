#pragma once

#include <md5.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace bex::stream {

/// The MD5 sum (RFC 1321) of bytes that come piece by piece. It finds accidents, not forgeries: whoever changes a
/// package can change its sums.
///
/// A copyable value.
class Md5 {
public:
    Md5() noexcept { MD5Init(&context_); }

    /// Adds `size` bytes (0 is allowed).
    void update(const char* data, std::size_t size) noexcept {
        MD5Update(&context_, reinterpret_cast<const std::uint8_t*>(data), size);
    }

    /// Lower-case hexadecimal digits and a NUL.
    using HexDigest = std::array<char, 33>;

    /// The sum of all bytes so far. More bytes may be added afterwards.
    HexDigest hex() const noexcept {
        MD5_CTX finished = context_;
        HexDigest text{};
        static_assert(text.size() == MD5_DIGEST_STRING_LENGTH);
        MD5End(&finished, text.data());
        return text;
    }
    std::string hexDigest() const { return hex().data(); }

private:
    MD5_CTX context_ = {};
};

}  // namespace bex::stream
