#include "buildfile/signing/MemberDigests.hpp"

#include <utility>

namespace bex::buildfile {

void MemberDigests::begin(const std::string& name, std::uint64_t bytes) {
    endMember();
    MD5Init(&md5_);
    SHA1Init(&sha1_);
    end_ = " " + std::to_string(bytes) + " " + name + "\n";
}

void MemberDigests::update(const char* data, std::size_t size) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(data);
    MD5Update(&md5_, bytes, size);
    SHA1Update(&sha1_, bytes, size);
}

std::string MemberDigests::finish() {
    endMember();
    return std::move(lines_);
}

void MemberDigests::endMember() {
    if (end_.empty()) {
        return;
    }
    char md5[MD5_DIGEST_STRING_LENGTH];
    char sha1[SHA1_DIGEST_STRING_LENGTH];
    lines_.append("\t").append(MD5End(&md5_, md5)).append(" ").append(SHA1End(&sha1_, sha1)).append(end_);
}

}  // namespace bex::buildfile
