#pragma once

#include <exception>

namespace bex::stream {

/// The exception with which a step of some work failed. No further step is taken, as the state of the work is not
/// known any more: each later call throws the same again. Used by one thread at a time.
class FirstFailure {
public:
    /// Takes a step and returns its result.
    template <typename Step>
    auto guard(Step step) {
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        try {
            return step();
        } catch (...) {
            failure_ = std::current_exception();
            throw;
        }
    }

    /// Whether a step has failed.
    explicit operator bool() const noexcept { return failure_ != nullptr; }

private:
    std::exception_ptr failure_;
};

}  // namespace bex::stream
