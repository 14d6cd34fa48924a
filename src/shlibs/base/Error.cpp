#include "bex/shlibs/Error.hpp"

namespace bex::shlibs {

Error::Error(ErrorKind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

Error::~Error() = default;

}  // namespace bex::shlibs
