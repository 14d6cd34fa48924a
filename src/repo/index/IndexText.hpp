#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "bex/stream/Sink.hpp"
#include "repo/index/Release.hpp"
#include "repo/index/StanzaList.hpp"

namespace bex::repo {

/// The text of a Packages index, in pieces that lie where its stanzas are: an index of which one stanza changed is
/// a few long pieces of the one before it. The texts of the stanzas must outlive this.
///
/// The text is cut into blocks of some 256 KiB. Where a block ends depends on the names of the packages around
/// that place alone, so that a change leaves all other blocks as they were.
class IndexText {
public:
    explicit IndexText(const std::vector<Stanza>& stanzas);

    using Pieces = std::vector<std::string_view>;

    /// Each of them has one piece or more; an empty text has no block.
    const std::vector<Pieces>& blocks() const noexcept { return blocks_; }

    std::size_t size() const noexcept { return size_; }

    void write(stream::Sink& out) const;

    /// What Release says of the uncompressed index.
    IndexedFile describe() const;

private:
    void append(const Stanza& stanza);

    std::vector<Pieces> blocks_;
    std::size_t size_ = 0;
};

void write(const IndexText::Pieces& block, stream::Sink& out);
std::size_t sizeOf(const IndexText::Pieces& block);

}  // namespace bex::repo
