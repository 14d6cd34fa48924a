#include "stream/verify/Findings.hpp"

#include <algorithm>

namespace bex::stream {
namespace {

/// A few bytes of a package can make millions of them, which would fill memory and be read by nobody.
constexpr std::size_t kMostFindings = 100000;

const char* codeOf(ErrorKind kind) {
    switch (kind) {
        case ErrorKind::limitExceeded:
            return "limit";
        case ErrorKind::unsupported:
            return "member-unsupported";
        default:
            return "member-damaged";
    }
}

Finding findingOf(const StreamError& failure, const std::string& member, const std::string& place) {
    if (const auto* known = dynamic_cast<const PackageFault*>(&failure)) {
        const Fault& fault = known->fault();
        return {fault.code, fault.member, fault.path, fault.reason};
    }
    std::string text = failure.getMessage();
    const std::string prefix = place + ": ";
    if (text.compare(0, prefix.size(), prefix) == 0) {
        text.erase(0, prefix.size());
    }
    return {codeOf(failure.kind()), member, "", text};
}

}  // namespace

void Findings::add(const Fault& fault) {
    if (list_.size() >= kMostFindings) {
        throw StreamError(ErrorKind::limitExceeded, "more than " + std::to_string(kMostFindings) +
                                                        " findings; what is left is not looked at");
    }
    list_.push_back({fault.code, fault.member, fault.path, fault.reason});
}

void Findings::addFailure(const StreamError& failure, const std::string& member, const std::string& place) {
    if (failure.kind() == ErrorKind::inputOutput || failure.kind() == ErrorKind::cancelled) {
        throw;  // cppcheck-suppress rethrowNoCurrentException; called by handlers alone
    }
    const Finding finding = findingOf(failure, member, place);
    const bool listed = std::any_of(list_.begin(), list_.end(), [&](const Finding& other) {
        return other.code == finding.code && other.member == finding.member && other.path == finding.path &&
               other.text == finding.text;
    });
    if (!listed) {
        list_.push_back(finding);
    }
}

}  // namespace bex::stream
