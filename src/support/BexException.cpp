#include "bex/BexException.hpp"

namespace bex {

BexException::BexException(const std::string& message) : message_(message) {}

BexException::~BexException() = default;

const std::string& BexException::getMessage() const {
    return message_;
}

}  // namespace bex
