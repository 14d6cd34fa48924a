#include "stream/extract/LargeFile.hpp"

namespace bex::stream {

void LargeFile::write(std::string_view bytes, const Part& part, std::uint64_t job) {
    if (!turns_.waitFor(part.offset, job)) {
        return;  // the failure of the earlier part is the one to be reported
    }
    if (!output_) {
        output_.emplace(context_, directory_.descriptor, name_.c_str());
    }
    output_->write(bytes);
    if (part.last) {
        output_->finish(attributes_);
    }
    turns_.pass(bytes.size());
}

}  // namespace bex::stream
