#pragma once

#include <CLI/App.hpp>
#include <exception>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Context.hpp"

namespace bex::tool {

/// Wrong use that is found while a verb works, such as options that exclude each other.
class UsageError : public std::exception {
public:
    explicit UsageError(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

/// Prints what a verb threw, as a line or, with --json, as an object, with a hint where one helps, and gives the
/// status to end with.
ExitStatus reportFailure(const std::exception_ptr& failure, Context& context);

/// Tells that something asked for is not there, with a hint unless it is empty. The status is `no`.
ExitStatus answerNo(const std::string& message, const std::string& hint, Context& context);

/// Prints why the arguments are wrong, with the verb or option that was probably meant.
ExitStatus reportUsage(const CLI::App& program, const CLI::ParseError& error,
                       const std::vector<std::string>& arguments, Context& context);

/// Runs the work on each package by itself: one that is damaged is reported and does not keep the others from
/// their turn. Gives the highest status.
ExitStatus forEachPackage(const std::vector<std::string>& packages, Context& context,
                          const std::function<ExitStatus(const std::string&)>& work);

}  // namespace bex::tool
