#include "stream/system/Failure.hpp"

#include <array>
#include <cstring>

#include "bex/stream/Escape.hpp"

namespace bex::stream {

StreamError systemFailure(const std::string& where, const std::string& action, int errorNumber) {
    // GNU's strerror_r: the text is in the buffer or in memory that lives for ever.
    std::array<char, 128> buffer = {};
    const char* reason = strerror_r(errorNumber, buffer.data(), buffer.size());
    return {ErrorKind::inputOutput, escapeForDisplay(where) + ": can't " + action + ": " + reason};
}

}  // namespace bex::stream
