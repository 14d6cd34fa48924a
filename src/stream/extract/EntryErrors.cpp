#include "stream/extract/EntryErrors.hpp"

#include <utility>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "stream/system/Failure.hpp"

namespace bex::stream {

EntryErrors::EntryErrors(std::string package) : package_(std::move(package)) {}

void EntryErrors::refuse(const std::string& reason) const {
    throw StreamError(ErrorKind::refused, escapeForDisplay(where()) + ": " + reason);
}

void EntryErrors::fail(const std::string& action, int errorNumber) const {
    throw systemFailure(where(), action, errorNumber);
}

}  // namespace bex::stream
