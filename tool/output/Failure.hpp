#pragma once

#include <exception>
#include <string>
#include <utility>

#include "bex/stream/StreamError.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// Wrong use that is found while a verb works, such as options that exclude each other.
class UsageError : public std::exception {
public:
    explicit UsageError(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

/// One failure as it is told to people or programs.
struct Report {
    ExitStatus status;
    std::string kind;
    std::string message;
    std::string hint;
    std::string code = {};  ///< that of a StreamError
};

/// Prints the report as lines or, with --json, as one object on standard error.
void print(const Report& report, Context& context);

/// Prints what a verb threw, as a line or, with --json, as an object, with a hint where one helps, and gives the
/// status to end with.
ExitStatus reportFailure(const std::exception_ptr& failure, Context& context);

/// Tells that something asked for is not there, with a hint unless it is empty. The status is `no`.
ExitStatus answerNo(const std::string& message, const std::string& hint, Context& context);

/// The `inputOutput` error "WHERE: can't ACTION: REASON", with the system's text for the error number.
stream::StreamError systemError(const std::string& where, const std::string& action, int errorNumber);

}  // namespace bex::tool
