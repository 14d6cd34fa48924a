#include "stream/extract/LargeFile.hpp"

namespace bex::stream {

void LargeFile::write(const KeptBytes& contents, const KeptBytes::Part& bytes, const Part& part,
                      std::uint64_t job) {
    if (!turns_.waitFor(part.offset, job)) {
        return;  // the failure of the earlier part is the one to be reported
    }
    if (!output_) {
        output_.emplace(context_, directory_.descriptor, nameOf(path_));
    }
    std::uint64_t size = 0;
    contents.forEach(bytes, [&](std::string_view piece) {
        output_->write(piece);
        size += piece.size();
    });
    if (part.last) {
        output_->finish(attributes_);
    }
    turns_.pass(size);
}

}  // namespace bex::stream
