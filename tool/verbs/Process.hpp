#pragma once

#include <string>
#include <vector>

namespace bex::tool {

/// The whole path of a program of that name in PATH; empty where there is none.
std::string findProgram(const std::string& name);

/// Runs a program with its arguments (the first is its path) and waits for it. Throws StreamError (`inputOutput`)
/// with what it said on standard error where it cannot be run or does not end with 0.
void runProgram(const std::vector<std::string>& command);

}  // namespace bex::tool
