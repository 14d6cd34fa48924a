#pragma once

#include <md5.h>

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

    /// Returns the sum of all bytes so far as 32 lower-case hexadecimal digits. More bytes may be added
    /// afterwards.
    std::string hexDigest() const;

private:
    MD5_CTX context_;
};

}  // namespace bex::stream
