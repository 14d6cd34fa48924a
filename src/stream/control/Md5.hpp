#pragma once

#include <md5.h>

#include <cstddef>
#include <string>

namespace bex::stream {

/// The MD5 sum (RFC 1321) of bytes that come piece by piece. It finds accidents, not forgeries: who can change
/// a package can change its sums.
///
/// A copyable value.
class Md5 {
public:
    Md5();

    /// Adds `size` bytes (0 is allowed).
    void update(const char* data, std::size_t size);

    /// The sum of all that was added so far, as 32 lower-case hexadecimal digits; more may be added after it.
    std::string hexDigest() const;

private:
    MD5_CTX context_;
};

}  // namespace bex::stream
