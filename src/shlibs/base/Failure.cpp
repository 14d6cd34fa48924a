#include "shlibs/base/Failure.hpp"

#include <cstring>

namespace bex::shlibs {

StreamError systemFailure(const std::string& file, int errorNumber) {
    stream::ErrorRecord record = failure(ErrorKind::inputOutput, file, std::strerror(errorNumber)).record();
    record.systemError = errorNumber;
    return StreamError(std::move(record));
}

}  // namespace bex::shlibs
