#include "stream/base/Fault.hpp"

#include <utility>

#include "bex/stream/Escape.hpp"

namespace bex::stream {
namespace {

std::string placeOf(const std::string& package, const std::string& member) {
    return escapeForDisplay(package) + (member.empty() ? "" : ": member " + quotedName(member));
}

/// Entries of the payload are named by their path alone; there is only one payload.
std::string messageOf(const std::string& package, const Fault& fault) {
    const bool inPayload = !fault.path.empty() && fault.member.rfind("data.", 0) == 0;
    const std::string place = placeOf(package, inPayload ? "" : fault.member);
    return place + (fault.path.empty() ? "" : ": " + escapeForDisplay(fault.path)) + ": " + fault.reason;
}

}  // namespace

std::string quotedName(const std::string& text) {
    return '"' + escapeForDisplay(text) + '"';
}

PackageFault::PackageFault(const std::string& package, Fault fault)
    : StreamError(fault.kind, messageOf(package, fault)), fault_(std::move(fault)) {}

void ThrowingFaults::refuse(const std::string& package, const Fault& fault) {
    throw PackageFault(package, fault);
}

void ThrowingFaults::note(const std::string&, const Fault&) {}

Faults Faults::in(const std::string& member) const {
    Faults inside = *this;
    inside.member_ = member;
    return inside;
}

std::string Faults::place() const {
    return placeOf(package_, member_);
}

void Faults::fail(ErrorKind kind, const char* code, const std::string& reason, const std::string& path) const {
    throw PackageFault(package_, {kind, code, member_, path, reason});
}

void Faults::refuse(ErrorKind kind, const char* code, const std::string& reason, const std::string& path) const {
    handler_->refuse(package_, {kind, code, member_, path, reason});
}

void Faults::note(const char* code, const std::string& reason, const std::string& path) const {
    handler_->note(package_, {ErrorKind::damaged, code, member_, path, reason});
}

}  // namespace bex::stream
