#pragma once

#include <exception>
#include <string>

#include "bex/Export.hpp"

namespace bex {

/// The one exception type of the libraries: every failure that they detect themselves is thrown as one, or as
/// a class derived from it. Failures of what they build on (`boost::filesystem::filesystem_error`,
/// `std::bad_alloc`, ...) pass through untranslated.
class BEX_EXPORT BexException : public std::exception {
public:
    explicit BexException(const std::string& message);
    ~BexException() override;

    BexException(const BexException&) = default;
    BexException& operator=(const BexException&) = default;

    /// The whole text for people. Lives as long as the exception.
    /// Meant: what() stays std::exception's own and tells nothing of the failure.
    const std::string& getMessage() const;

private:
    std::string message_;
};

}  // namespace bex
