#include "stream/verify/Digests.hpp"

#include <algorithm>
#include <utility>

#include "bex/stream/Entry.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

Digests::Digests(const std::vector<Md5sum>& sums, Place control, Place payload)
    : control_(std::move(control)), payload_(std::move(payload)) {
    // Reserved at once: growing would take as much memory again.
    listed_.reserve(sums.size());
    for (const Md5sum& sum : sums) {
        list(sum);
    }
    // Of two lines for one path the first counts; it stands further in front in the text.
    const auto precedes = [](const Listed& left, const Listed& right) {
        return std::pair(left.path, left.digest.data()) < std::pair(right.path, right.digest.data());
    };
    // Most lists are in order.
    if (!std::is_sorted(listed_.begin(), listed_.end(), precedes)) {
        std::sort(listed_.begin(), listed_.end(), precedes);
    }
    const auto samePath = [&](const Listed& first, const Listed& next) {
        if (first.path != next.path) {
            return false;
        }
        control_.at("md5sums").note("md5-doubled", quotedName(next.path) + " occurs twice", Severity::error);
        return true;
    };
    listed_.erase(std::unique(listed_.begin(), listed_.end(), samePath), listed_.end());
}

void Digests::list(const Md5sum& sum) {
    // A text may hold a path in two spellings. Views of the text serve where possible: a list may have a million
    // lines.
    std::string plain = plainPath(sum.path);
    std::string_view path = sum.path;
    if (plain != path) {
        // A deque keeps its strings in place, so that views of them stay valid.
        path = respelled_.emplace_back(std::move(plain));
    }
    listed_.push_back({path, sum.digest, false});
}

Digests::Listed* Digests::find(std::string_view path) {
    // The list and the payload often have one order.
    if (next_ == listed_.size() || listed_[next_].path != path) {
        // Binary search: a payload may have a million files.
        const auto found =
            std::lower_bound(listed_.begin(), listed_.end(), path,
                             [](const Listed& listed, std::string_view wanted) { return listed.path < wanted; });
        if (found == listed_.end() || found->path != path) {
            return nullptr;
        }
        next_ = static_cast<std::size_t>(found - listed_.begin());
    }
    return &listed_[next_++];
}

void Digests::takeFile(const Name& file, std::string_view digest) {
    Listed* listed = find(file.path);
    if (listed == nullptr) {
        // A hard link may lead to it later, and has the same contents.
        others_[file.path] = digest;
        if (!file.listedElsewhere) {
            payload_.at(file.entry).note("md5-unlisted", "is not in md5sums");
        }
        return;
    }
    listed->seen = true;
    // Either case is accepted in the list; the sums here are in lower case.
    if (!equalIgnoringCase(listed->digest, digest)) {
        others_[file.path] = digest;
        payload_.at(file.entry)
            .note("md5-mismatch",
                  "has MD5 sum " + std::string(digest) + ", not " + lowerCase(listed->digest) + " as in md5sums",
                  Severity::error);
    }
}

void Digests::takeHardLink(const Name& link, const std::string& target) {
    const auto other = others_.find(target);
    const Listed* listed = find(target);
    // What the file really has, if that is known; otherwise its sum was the listed one.
    if (other != others_.end()) {
        takeFile(link, std::string(other->second));
    } else if (listed != nullptr) {
        takeFile(link, lowerCase(listed->digest));
    }
}

void Digests::finish() const {
    for (const Listed& listed : listed_) {
        if (!listed.seen) {
            control_.at("md5sums").note("md5-missing", quotedName(listed.path) + " is not a file of the payload",
                                        Severity::error);
        }
    }
}

}  // namespace bex::stream
