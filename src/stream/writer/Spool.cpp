#include "stream/writer/Spool.hpp"

#include <utility>
#include <vector>

namespace bex::stream {

namespace {

// A multiple of every file system's block, so that discarding pieces frees whole blocks.
constexpr std::size_t kPieceBytes = std::size_t{256} << 10;

}  // namespace

Spool::Spool(const std::string& directory, std::string member, System& system, std::uint64_t mostBytes)
    : member_(std::move(member)), mostBytes_(mostBytes), file_(directory, system) {}

void Spool::write(const char* data, std::size_t size) {
    if (size > mostBytes_ - this->size()) {  // guard: members beyond what ar can tell
        throw memberTooLarge(member_, mostBytes_);
    }
    file_.append({data, size});
}

void Spool::read(const std::function<void(std::string_view)>& consume) const {
    std::vector<char> piece(kPieceBytes);
    for (std::uint64_t offset = 0; offset < size();) {
        const std::size_t count = file_.read(offset, piece.data(), piece.size());
        offset += count;
        consume({piece.data(), count});
    }
}

void Spool::moveTo(const std::function<void(std::string_view)>& consume) {
    read([this, &consume, moved = std::uint64_t{0}](std::string_view piece) mutable {
        moved += piece.size();
        file_.discardBefore(moved);
        consume(piece);
    });
}

}  // namespace bex::stream
