#include "stream/base/Place.hpp"

#include <array>
#include <cstddef>
#include <cstring>

#include "bex/stream/Escape.hpp"

namespace bex::stream {

namespace {

/// Whether the byte is one of a character of UTF-8, but not its first.
constexpr bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

}  // namespace

void ErrorHandler::refuse(const ErrorRecord& error) {
    // First, so that errors that a delayed check still holds are reported in the package's order.
    if (earlier_) {
        earlier_();
    }
    onRefuse(error);
}

void ErrorHandler::note(Severity severity, const ErrorRecord& error) {
    if (earlier_) {
        earlier_();
    }
    onNote(severity, error);
}

Place Place::in(std::string member) const {
    Place inside = *this;
    inside.member_ = std::move(member);
    return inside;
}

Place Place::at(std::string entry) const {
    Place inside = *this;
    inside.entry_ = std::move(entry);
    return inside;
}

ErrorRecord Place::record(ErrorKind kind, std::string code, std::string reason) const {
    ErrorRecord record;
    record.kind = kind;
    record.code = std::move(code);
    record.package = package_;
    record.member = member_;
    record.entry = entry_;
    record.reason = std::move(reason);
    return record;
}

void Place::fail(ErrorKind kind, std::string code, std::string reason) const {
    throw error(kind, std::move(code), std::move(reason));
}

void Place::fail(ErrorKind kind, std::string reason) const {
    fail(kind, codeOf(kind), std::move(reason));
}

void Place::failLimit(std::string limit, std::string reason) const {
    ErrorRecord record = this->record(ErrorKind::limitExceeded, "limit", std::move(reason));
    record.limit = std::move(limit);
    throw StreamError(std::move(record));
}

void Place::failSystem(const std::string& action, int errorNumber) const {
    throw systemFailure(*this, action, errorNumber);
}

void Place::refuse(ErrorKind kind, std::string code, std::string reason) const {
    const ErrorRecord error = record(kind, std::move(code), std::move(reason));
    if (handler_ == nullptr) {
        // Thrown outright: without a handler there is nobody who could decide to read on.
        throw StreamError(error);
    }
    handler_->refuse(error);
}

void Place::note(std::string code, std::string reason, Severity severity) const {
    if (handler_ != nullptr) {
        handler_->note(severity, record(ErrorKind::damaged, std::move(code), std::move(reason)));
    }
}

const char* codeOf(ErrorKind kind) noexcept {
    if (kind == ErrorKind::limitExceeded) {
        return "limit";
    }
    return nameOf(kind);
}

StreamError systemFailure(const Place& where, const std::string& action, int errorNumber) {
    // GNU's strerror_r: the text is in the buffer or in memory that lives for ever.
    std::array<char, 128> buffer = {};
    ErrorRecord record =
        where.record(ErrorKind::inputOutput, codeOf(ErrorKind::inputOutput),
                     "can't " + action + ": " + strerror_r(errorNumber, buffer.data(), buffer.size()));
    record.systemError = errorNumber;
    return StreamError(std::move(record));
}

StreamError invalidInput(const Place& where, std::string reason) {
    return where.error(ErrorKind::invalidInput, codeOf(ErrorKind::invalidInput), std::move(reason));
}

std::string quotedName(std::string_view text) {
    return '"' + escapeForDisplay(text) + '"';
}

std::string quoted(std::string_view text) {
    constexpr std::size_t mostBytes = 60;
    if (text.size() <= mostBytes) {
        return quotedName(text);
    }
    std::size_t end = mostBytes;
    while (end > mostBytes - 4 && continuesCharacter(text[end])) {
        --end;
    }
    return '"' + escapeForDisplay(text.substr(0, end)) + "...\"";
}

}  // namespace bex::stream
