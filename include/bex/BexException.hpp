#pragma once

#include <exception>
#include <string>

#include "bex/Export.hpp"

namespace bex {

/// The exception type of the libraries. They report every failure that they detect by throwing it or a class
/// derived from it. Exceptions of Boost and of the standard library (`boost::filesystem::filesystem_error`,
/// `std::bad_alloc`, ...) pass through unchanged.
class BEX_EXPORT BexException : public std::exception {
public:
    BexException(const std::string& message);
    ~BexException() override;

    BexException(const BexException&) = default;
    BexException& operator=(const BexException&) = default;

    /// Returns the whole message. It lives as long as the exception.
    /// Meant: what() is inherited from std::exception and returns a fixed text, not the message.
    const std::string& getMessage() const;

private:
    std::string message_;
};

}  // namespace bex
