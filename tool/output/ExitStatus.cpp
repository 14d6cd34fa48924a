#include "output/ExitStatus.hpp"

namespace bex::tool {

using stream::ErrorKind;

ExitStatus statusOf(ErrorKind kind) noexcept {
    switch (kind) {
        case ErrorKind::invalidInput:
            return ExitStatus::usage;
        case ErrorKind::damaged:
        case ErrorKind::unsupported:
            return ExitStatus::damaged;
        case ErrorKind::limitExceeded:
        case ErrorKind::refused:
            return ExitStatus::refused;
        case ErrorKind::inputOutput:
            return ExitStatus::inputOutput;
        case ErrorKind::cancelled:
            return ExitStatus::interrupted;
    }
    return ExitStatus::inputOutput;
}

}  // namespace bex::tool
