#include "repo/index/IndexText.hpp"

#include <cstdint>
#include <numeric>

#include "repo/base/Hasher.hpp"

namespace bex::repo {

namespace {

// Deflate looks back 32 KiB, so that blocks of eight times that cost it next to nothing. A larger block would be
// more to compress for each change.
constexpr std::uint32_t kNamesPerBlock = 256;
constexpr std::size_t kLongestBlock = std::size_t{2} << 20;

/// FNV-1a: the same on every machine and in every version, unlike std::hash.
std::uint32_t hashOf(std::string_view name) {
    std::uint32_t hash = 2166136261U;
    for (const char c : name) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    return hash;
}

/// The stanza with the newline after it, where its text goes on with one. Every stanza lies in a std::string, so
/// that the character after it can be read: at the end of the text it is a NUL.
std::string_view withSeparator(std::string_view text) {
    if (text.data()[text.size()] == '\n') {
        return {text.data(), text.size() + 1};
    }
    return text;
}

}  // namespace

IndexText::IndexText(const std::vector<Stanza>& stanzas) {
    std::size_t bytes = 0;  // of the last block
    std::string_view name;  // of the stanza before
    for (const Stanza& stanza : stanzas) {
        // Versions of one package stay together: its name is hashed once.
        const bool isCut = stanza.package != name && hashOf(stanza.package) % kNamesPerBlock == 0;
        if (blocks_.empty() || isCut || bytes + stanza.text.size() > kLongestBlock) {
            blocks_.emplace_back();
            bytes = 0;
        }
        append(stanza);
        bytes += stanza.text.size() + 1;
        size_ += stanza.text.size() + 1;
        name = stanza.package;
    }
}

void IndexText::append(const Stanza& stanza) {
    Pieces& pieces = blocks_.back();
    const std::string_view text = withSeparator(stanza.text);
    if (!pieces.empty() && pieces.back().data() + pieces.back().size() == text.data()) {
        pieces.back() = {pieces.back().data(), pieces.back().size() + text.size()};
    } else {
        pieces.push_back(text);
    }
    if (text.size() == stanza.text.size()) {
        pieces.emplace_back("\n");
    }
}

void IndexText::write(stream::Sink& out) const {
    for (const Pieces& block : blocks_) {
        bex::repo::write(block, out);
    }
}

IndexedFile IndexText::describe() const {
    Hasher hasher;
    for (const Pieces& block : blocks_) {
        for (const std::string_view piece : block) {
            hasher.update(piece);
        }
    }
    return {hasher.finish().sha256, size_};
}

void write(const IndexText::Pieces& block, stream::Sink& out) {
    for (const std::string_view piece : block) {
        out.write(piece.data(), piece.size());
    }
}

std::size_t sizeOf(const IndexText::Pieces& block) {
    return std::accumulate(block.begin(), block.end(), std::size_t{0},
                           [](std::size_t sum, std::string_view piece) { return sum + piece.size(); });
}

}  // namespace bex::repo
