#include "stream/writer/ContentStore.hpp"

#include <vector>

#include "stream/base/UnnamedFile.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kPieceBytes = std::size_t{64} << 10;

}  // namespace

void ContentStore::keep(const Supplier& supply, SourceEntry& entry) {
    if (file_ == nullptr) {
        file_ = std::make_shared<ScratchFile>(temporaryDirectory(), system_);
    }
    const std::uint64_t begin = file_->size();
    std::vector<char> piece(kPieceBytes);
    while (const std::size_t count = supply(piece.data(), piece.size())) {
        file_->append({piece.data(), count});
    }
    entry.size = file_->size() - begin;
    entry.reader = std::make_unique<const ContentReader>(
        [file = file_, begin](std::uint64_t offset, char* buffer, std::size_t size) {
            return file->read(begin + offset, buffer, size);
        });
}

}  // namespace bex::stream
