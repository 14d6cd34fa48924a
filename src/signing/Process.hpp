#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace bex::signing {

/// The descriptor from which a program reads the secret that it is given.
constexpr int kSecretDescriptor = 3;

/// Runs a program of PATH with the text as its standard input, in a process group of its own, and returns what it
/// printed on standard output. Throws StreamError (`inputOutput`, code "signer"), with the end of what it said on
/// standard error, where it can't be run, does not end with 0, or not within the time: it is killed then.
std::string outputOf(const std::vector<std::string>& command, const std::string& input,
                     std::chrono::seconds timeout);

/// A program like that of outputOf(), which reads its standard input while the caller makes it. None of what it is
/// given reaches a disk or a command line. Killed, with what it started, unless finish() was called.
class FedProgram {
public:
    /// Starts the program. `secret`, of at most 4096 bytes, is what it can read from kSecretDescriptor. `timeout`:
    /// how long one write, or the end of the program, may take.
    FedProgram(const std::vector<std::string>& command, const std::string& secret, std::chrono::seconds timeout);
    FedProgram(FedProgram&&) noexcept;
    FedProgram& operator=(FedProgram&&) noexcept;
    ~FedProgram();

    /// Throws as outputOf(), also if the program no longer reads.
    void write(std::string_view bytes);
    /// Ends the standard input, waits, and returns what the program printed. Throws as outputOf(). Call once,
    /// last.
    std::string finish();

private:
    class Running;
    std::unique_ptr<Running> running_;
};

}  // namespace bex::signing
