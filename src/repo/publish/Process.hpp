#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace bex::repo {

/// Runs a program of PATH with the text as its standard input, in a process group of its own, and returns what it
/// printed on standard output. Throws StreamError (`inputOutput`, code "signer"), with the end of what it said on
/// standard error, where it can't be run, does not end with 0, or not within the time: it is killed then.
std::string outputOf(const std::vector<std::string>& command, const std::string& input,
                     std::chrono::seconds timeout);

}  // namespace bex::repo
