#include "verbs/PackageDigest.hpp"

#include <sha2.h>

#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "output/ProgressBar.hpp"
#include "verbs/Input.hpp"
#include "verbs/TextDiff.hpp"

namespace bex::tool {

using stream::Entry;
using stream::EntryType;

namespace {

/// FIPS 180-4, by libmd: three functions, and no large library to load.
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

/// Keeps what is read while it can still be a text that is worth comparing.
class TextCandidate {
public:
    explicit TextCandidate(const DigestRequest& request) : wanted_(request.spool != nullptr) {}

    void add(std::string_view bytes) {
        // Given up at the first NUL or when it is too long, so that a large binary costs little memory.
        wanted_ =
            wanted_ && text_.size() + bytes.size() <= kTextDiffBytes && bytes.find('\0') == std::string_view::npos;
        if (wanted_) {
            text_.append(bytes);
        }
    }

    /// Nothing for what is not text. A text that is wanted has a spool to go to: the constructor has seen it.
    std::optional<TextSpool::Place> keep(const DigestRequest& request) const {
        if (!wanted_ || !isText(text_)) {
            return std::nullopt;
        }
        return request.spool->add(text_);
    }

private:
    bool wanted_;
    std::string text_;
};

using Entries = std::map<std::string, DigestedEntry>;

/// One reading of a package. Memory depends on the number of entries and not on their sizes: texts go to the
/// spool.
class Digestion {
public:
    Digestion(const DigestRequest& request, stream::PackageReader& reader)
        : request_(request), reader_(reader), buffer_(256 * 1024) {}

    PackageDigest digest() {
        result_.control = reader_.control();
        for (const auto& member : reader_.controlMembers()) {
            addControlMember(member);
        }
        for (Entry entry; reader_.next(entry);) {
            addEntry(entry);
        }
        addMembers();  // Last: a pipe has shown all of them only now.
        return std::move(result_);
    }

private:
    void addControlMember(const stream::ControlMember& member) {
        const std::string path = stream::plainPath(member.entry.path);
        // Its fields are compared one by one.
        if (path == "control" || !request_.select("DEBIAN/" + path)) {
            return;
        }
        Sha256 digest;
        digest.update(member.contents);
        TextCandidate text(request_);
        text.add(member.contents);
        add(result_.controlMembers, path, {member.entry, digest.hexDigest(), std::nullopt}, text);
    }

    void addEntry(const Entry& entry) {
        const std::string path = stream::plainPath(entry.path);
        if (!request_.select(path)) {
            return;
        }
        // A hard link has no bytes of its own: its target is compared.
        if (entry.type != EntryType::file) {
            result_.payload[path] = {entry, "", std::nullopt};
            return;
        }
        Sha256 digest;
        TextCandidate text(request_);
        for (std::size_t count = 0; (count = reader_.read(buffer_.data(), buffer_.size())) > 0;) {
            digest.update({buffer_.data(), count});
            text.add({buffer_.data(), count});
        }
        add(result_.payload, path, {entry, digest.hexDigest(), std::nullopt}, text);
    }

    void add(Entries& entries, const std::string& path, DigestedEntry entry, const TextCandidate& text) {
        // The digest is known only after the last byte, so that the text was kept in memory until here.
        if (!isSameInOther(entries, path, entry.digest)) {
            entry.text = text.keep(request_);
        }
        entries[path] = std::move(entry);
    }

    /// Whether no text will be compared: the other package lacks the path, or has the same contents there. False
    /// while there is no other package yet.
    bool isSameInOther(const Entries& entries, const std::string& path, const std::string& digest) const {
        if (request_.other == nullptr) {
            return false;
        }
        const bool isPayload = &entries == &result_.payload;
        const Entries& others = isPayload ? request_.other->payload : request_.other->controlMembers;
        const auto other = others.find(path);
        return other == others.end() || other->second.digest == digest;
    }

    void addMembers() {
        for (const auto& member : reader_.members()) {
            std::string name = member.name;
            if (const std::size_t tar = name.find(".tar"); tar != std::string::npos) {
                name.erase(tar + 4);  // "data.tar" is the same member, however it is compressed
            }
            result_.members[name] = {std::string(stream::nameOf(member.compression)), member.size};
        }
    }

    const DigestRequest& request_;
    stream::PackageReader& reader_;
    std::vector<char> buffer_;
    // Moved out by digest(), which is called once.
    PackageDigest result_;
};

}  // namespace

PackageDigest digestOf(const std::string& package, const DigestRequest& request, Context& context) {
    ProgressBar progress(context, "reading");
    stream::ReadOptions options = readOptions(context);
    options.progress = progress.callback();
    stream::PackageReader reader = openWhole(package, options, context);
    // After the reader has opened the package: only then are its fields known.
    progress.expect(reader.control());
    return Digestion(request, reader).digest();
}

}  // namespace bex::tool
