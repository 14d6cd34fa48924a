#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "stream/codec/Buffer.hpp"

namespace bex::stream {

/// Some of a member's bytes.
struct Piece {
    std::string_view bytes;
    std::shared_ptr<const void> owner;  ///< keeps the bytes as they are; null: they are valid for the moment
};

/// Bytes for another thread: held where they are, or copied where nothing keeps them. Only a few owners are held,
/// because each may keep a whole block; what belongs to further ones is copied.
class KeptBytes {
public:
    /// Bytes that belong together, in one piece or several.
    struct Part {
        std::size_t first = 0;
        std::size_t pieces = 0;
    };

    /// At most so many bytes may be added until clear().
    explicit KeptBytes(std::size_t mostBytes) : mostBytes_(mostBytes) {}

    std::size_t size() const noexcept { return size_; }

    Part begin() const noexcept { return {pieces_.size(), 0}; }

    /// Adds to the part that was begun last.
    void add(const Piece& piece, Part& part) {
        size_ += piece.bytes.size();
        if (part.pieces != 0 && join(piece.bytes)) {
            return;
        }
        pieces_.push_back(hold(piece.owner) ? piece.bytes : copyOf(piece.bytes));
        ++part.pieces;
    }

    /// Whether it holds as much as it may: what belongs to others is copied from now on.
    bool crowded() const noexcept { return owners_.size() == kMostOwners; }

    /// Takes back the part that was begun last. Nothing may be added after it until clear().
    void drop(const Part& part) {
        forEach(part, [this](std::string_view bytes) { size_ -= bytes.size(); });
        pieces_.resize(part.first);
    }

    /// Calls with each piece of the part, in order.
    template <typename Consume>
    void forEach(const Part& part, Consume consume) const {
        for (std::size_t i = part.first; i < part.first + part.pieces; ++i) {
            consume(pieces_[i]);
        }
    }

    /// Forgets all parts and lets the owners go.
    void clear() noexcept {
        pieces_.clear();
        owners_.clear();
        copies_.setSize(0);
        size_ = 0;
    }

private:
    static constexpr std::size_t kMostOwners = 4;
    static constexpr std::size_t kJoinedBytes = std::size_t{64} << 10;

    /// Copies the bytes behind the last piece, which is copied, too, where both are small: one piece is easier to
    /// work with than two.
    bool join(std::string_view bytes) {
        std::string_view& last = pieces_.back();
        if (last.size() + bytes.size() > kJoinedBytes) {
            return false;
        }
        if (last.data() + last.size() != copies_.data() + copies_.size()) {
            last = copyOf(last);
        }
        last = {last.data(), last.size() + copyOf(bytes).size()};
        return true;
    }

    bool hold(const std::shared_ptr<const void>& owner) {
        if (owner == nullptr) {
            return false;
        }
        if (!owners_.empty() && owners_.back() == owner) {
            return true;
        }
        if (crowded()) {
            return false;
        }
        owners_.push_back(owner);
        return true;
    }

    std::string_view copyOf(std::string_view bytes) {
        copies_.reserve(mostBytes_);  // the same each time: earlier copies stay where they are
        char* const to = copies_.data() + copies_.size();
        std::memcpy(to, bytes.data(), bytes.size());
        copies_.setSize(copies_.size() + bytes.size());
        return {to, bytes.size()};
    }

    std::size_t mostBytes_;
    std::size_t size_ = 0;
    std::vector<std::string_view> pieces_;
    std::vector<std::shared_ptr<const void>> owners_;
    Buffer copies_;
};

}  // namespace bex::stream
