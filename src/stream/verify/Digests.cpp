#include "stream/verify/Digests.hpp"

namespace bex::stream {

Digests::Digests(const std::vector<Md5sum>& sums, Faults control, Faults payload)
    : control_(std::move(control)), payload_(std::move(payload)) {
    for (const Md5sum& sum : sums) {
        if (!listed_.try_emplace(plainPath(sum.path), Listed{sum.digest, false}).second) {
            control_.refuse(ErrorKind::damaged, "md5-doubled", quotedName(sum.path) + " is there twice",
                            "md5sums");
        }
    }
}

void Digests::takeFile(const Entry& entry, const std::string& path, const std::string& digest,
                       bool listedElsewhere) {
    const auto found = listed_.find(path);
    if (found == listed_.end()) {
        others_[path] = digest;
        if (!listedElsewhere) {
            payload_.refuse(ErrorKind::damaged, "md5-unlisted", "is not in md5sums", entry.path);
        }
        return;
    }
    found->second.seen = true;
    if (found->second.digest != digest) {
        others_[path] = digest;
        payload_.refuse(ErrorKind::damaged, "md5-mismatch",
                        "has MD5 sum " + digest + ", not " + found->second.digest + " as in md5sums", entry.path);
    }
}

void Digests::takeHardLink(const Entry& entry, const std::string& path, const std::string& target,
                           bool listedElsewhere) {
    const auto other = others_.find(target);
    const auto listed = listed_.find(target);
    if (other != others_.end()) {
        takeFile(entry, path, std::string(other->second), listedElsewhere);
    } else if (listed != listed_.end()) {
        takeFile(entry, path, std::string(listed->second.digest), listedElsewhere);
    }
}

void Digests::finish() const {
    for (const auto& [path, listed] : listed_) {
        if (!listed.seen) {
            control_.refuse(ErrorKind::damaged, "md5-missing", quotedName(path) + " is no file of the payload",
                            "md5sums");
        }
    }
}

}  // namespace bex::stream
