#include "stream/edit/Allowance.hpp"

#include <algorithm>
#include <utility>

#include "bex/stream/Finding.hpp"

namespace bex::stream {

Allowance::Allowance(std::vector<std::string> codes) : codes_(std::move(codes)) {
    std::sort(codes_.begin(), codes_.end());
}

void Allowance::onRefuse(const ErrorRecord& error) {
    if (!std::binary_search(codes_.begin(), codes_.end(), error.code)) {
        throw FindingRefused(error);
    }
}

void Allowance::onNote(Severity severity, const ErrorRecord& error) {
    if (severity == Severity::error) {
        onRefuse(error);
    }
}

}  // namespace bex::stream
