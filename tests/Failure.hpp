#pragma once

#include <exception>
#include <string>

#include "bex/BexException.hpp"

namespace bex::test {

/// Runs `action` and gives the text it failed with: a BexException's message, another exception's what().
/// Empty when it came through.
template <typename Action>
std::string failureOf(Action&& action) {
    try {
        action();
    } catch (const BexException& failure) {
        return failure.getMessage();
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return {};
}

}  // namespace bex::test
