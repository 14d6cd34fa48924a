#include "stream/verify/Findings.hpp"

#include <algorithm>
#include <cstddef>
#include <string>

namespace bex::stream {

namespace {

/// A few bytes of a package can make millions of findings, which would fill memory and which nobody would read.
constexpr std::size_t kMostFindings = 100000;

}  // namespace

void Findings::onNote(Severity severity, const ErrorRecord& error) {
    // Before it is added, so that the list never grows beyond the limit.
    if (list_.size() >= kMostFindings) {
        Place(error.package)
            .failLimit("", "more than " + std::to_string(kMostFindings) + " findings; the rest is not checked");
    }
    add(severity, error);
}

void Findings::add(Severity severity, const ErrorRecord& error) {
    list_.emplace_back(severity, error);
    // Added first: what made the callback stop is part of the answer.
    if (callback_ && !callback_(list_.back())) {
        throw Stopped();
    }
}

void Findings::addFailure(const StreamError& failure) {
    // The system's failure says nothing about the package, and a cancelled run has no answer.
    if (failure.kind() == ErrorKind::inputOutput || failure.kind() == ErrorKind::cancelled) {
        throw StreamError(failure);
    }
    const ErrorRecord& record = failure.record();
    // A step that builds on another ends with the same error; linear, but once for each step.
    const bool listed = std::any_of(list_.begin(), list_.end(), [&](const Finding& other) {
        return other.code == record.code && other.member == record.member && other.entry == record.entry &&
               other.reason == record.reason;
    });
    if (!listed) {
        add(Severity::error, record);
    }
}

}  // namespace bex::stream
