#pragma once

#include <stdexcept>
#include <string>

#include "bex/Export.hpp"

namespace bex::shlibs {

/// What kind of failure an Error reports, for programs that answer differently to each.
enum class ErrorKind {
    invalidInput,   ///< the request makes no sense: an unknown architecture, no ELF file where one was named
    damaged,        ///< an ELF file, a symbols file or a shlibs file breaks its format
    limitExceeded,  ///< a file asks for more memory or time than it may have
    inputOutput     ///< the system failed a read or another call
};

/// A failure that the library detects. The message is one line for people, `FILE: reason` or `FILE:LINE: reason`,
/// with names from files escaped by stream::escapeForDisplay().
class BEX_EXPORT Error : public std::runtime_error {
public:
    Error(ErrorKind kind, const std::string& message);
    ~Error() override;

    Error(const Error&) = default;
    Error& operator=(const Error&) = default;

    ErrorKind kind() const noexcept { return kind_; }

private:
    ErrorKind kind_;
};

}  // namespace bex::shlibs
