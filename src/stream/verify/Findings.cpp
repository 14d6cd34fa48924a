#include "stream/verify/Findings.hpp"

#include <algorithm>
#include <cstddef>
#include <string>

namespace bex::stream {

namespace {

/// A few bytes of a package can make millions of them, which would fill memory and be read by nobody.
constexpr std::size_t kMostFindings = 100000;

}  // namespace

void Findings::add(Severity severity, const ErrorRecord& error) {
    if (list_.size() >= kMostFindings) {
        Place(error.package)
            .failLimit("",
                       "more than " + std::to_string(kMostFindings) + " findings; what is left is not looked at");
    }
    list_.emplace_back(severity, error);
}

void Findings::addFailure(const StreamError& failure) {
    if (failure.kind() == ErrorKind::inputOutput || failure.kind() == ErrorKind::cancelled) {
        throw StreamError(failure);
    }
    const ErrorRecord& record = failure.record();
    const bool listed = std::any_of(list_.begin(), list_.end(), [&](const Finding& other) {
        return other.code == record.code && other.member == record.member && other.entry == record.entry &&
               other.reason == record.reason;
    });
    if (!listed) {
        list_.emplace_back(Severity::error, record);
    }
}

}  // namespace bex::stream
