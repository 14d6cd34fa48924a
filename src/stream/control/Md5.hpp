#pragma once

#include <md5.h>

#include <array>
#include <cstddef>
#include <string>

namespace bex::stream {

/// The MD5 sum (RFC 1321) of bytes that come piece by piece. It finds accidents, not forgeries: whoever changes a
/// package can change its sums.
///
/// A copyable value.
class Md5 {
public:
    Md5();

    /// Adds `size` bytes (0 is allowed).
    void update(const char* data, std::size_t size);

    /// Lower-case hexadecimal digits and a NUL.
    using HexDigest = std::array<char, 33>;

    /// The sum of all bytes so far. More bytes may be added afterwards.
    HexDigest hex() const noexcept;
    std::string hexDigest() const { return hex().data(); }

private:
    MD5_CTX context_;
};

}  // namespace bex::stream
