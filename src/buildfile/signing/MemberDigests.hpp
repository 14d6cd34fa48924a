#pragma once

#include <md5.h>
#include <sha1.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace bex::buildfile {

/// The lines for members of a package in the text that dpkg-sig(1) signs: of each a tab, the MD5 sum, the SHA-1
/// sum, the number of bytes and the name. Memory: the lines.
class MemberDigests {
public:
    /// Begins the next member.
    void begin(const std::string& name, std::uint64_t bytes);
    /// Adds contents of the member.
    void update(const char* data, std::size_t size);
    /// The lines of all members. Call once, last.
    std::string finish();

private:
    void endMember();

    MD5_CTX md5_{};
    SHA1_CTX sha1_{};
    std::string end_;  ///< of the current member's line, after the digests; "" before the first member
    std::string lines_;
};

}  // namespace bex::buildfile
