#include "buildfile/yaml/Value.hpp"

#include <cstring>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::buildfile {

namespace {

// Enough to recognise a text in the file; a message stays one line.
constexpr std::size_t kLongestQuote = 60;  // bytes

/// `file` is the one that `at` is a place of; the reason may name another.
stream::ErrorRecord recordOf(stream::ErrorKind kind, const std::string& file, Spot at, const std::string& reason) {
    stream::ErrorRecord record;
    record.kind = kind;
    record.code = stream::StreamError(kind, "").code();
    record.package = file;
    record.reason = reason;
    record.line = at.line;
    record.column = at.column;
    return record;
}

}  // namespace

const Value* Value::find(std::string_view name) const noexcept {
    // A key without a value counts as absent. Linear: maps of build files are small.
    for (const Member& member : members) {
        if (member.name == name && member.value.kind != Kind::null) {
            return &member.value;
        }
    }
    return nullptr;
}

void fail(const std::string& file, Spot at, const std::string& reason) {
    throw stream::StreamError(recordOf(stream::ErrorKind::invalidInput, file, at, reason));
}

void failSystem(const std::string& file, Spot at, const std::string& path, int errorNumber) {
    stream::ErrorRecord record = recordOf(stream::ErrorKind::inputOutput, file, at,
                                          stream::escapeForDisplay(path) + ": " + std::strerror(errorNumber));
    record.systemError = errorNumber;
    throw stream::StreamError(record);
}

std::string quotedText(std::string_view text) {
    if (text.size() > kLongestQuote) {
        return '"' + stream::escapeForDisplay(std::string(text.substr(0, kLongestQuote))) + "...\"";
    }
    return '"' + stream::escapeForDisplay(std::string(text)) + '"';
}

}  // namespace bex::buildfile
