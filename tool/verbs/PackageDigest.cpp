#include "verbs/PackageDigest.hpp"

#include <sha2.h>

#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "output/ProgressBar.hpp"
#include "verbs/Input.hpp"

namespace bex::tool {

using stream::Entry;
using stream::EntryType;

namespace {

class Sha256 {
public:
    Sha256() { SHA256Init(&context_); }

    void update(std::string_view bytes) {
        SHA256Update(&context_, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }

    /// Call once, last.
    std::string hexDigest() {
        std::array<char, SHA256_DIGEST_STRING_LENGTH> text{};
        return SHA256End(&context_, text.data());
    }

private:
    SHA2_CTX context_{};
};

std::string digestOfContents(stream::PackageReader& reader, std::vector<char>& buffer) {
    Sha256 digest;
    for (std::size_t count = 0; (count = reader.read(buffer.data(), buffer.size())) > 0;) {
        digest.update({buffer.data(), count});
    }
    return digest.hexDigest();
}

}  // namespace

PackageDigest digestOf(const std::string& package, Context& context) {
    ProgressBar progress(context, "reading");
    stream::ReadOptions options = readOptions(context);
    options.progress = progress.callback();
    stream::PackageReader reader = openPackage(package, options);
    progress.expect(reader.control());
    PackageDigest result;
    result.control = reader.control();
    for (const auto& member : reader.controlMembers()) {
        const std::string path = stream::plainPath(member.entry.path);
        if (path != "control") {
            Sha256 digest;
            digest.update(member.contents);
            result.controlMembers[path] = {member.entry, digest.hexDigest()};
        }
    }
    std::vector<char> buffer(256 * 1024);
    for (Entry entry; reader.next(entry);) {
        std::string digest = entry.type == EntryType::file ? digestOfContents(reader, buffer) : "";
        result.payload[stream::plainPath(entry.path)] = {entry, std::move(digest)};
    }
    return result;
}

}  // namespace bex::tool
