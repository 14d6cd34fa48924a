#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "signing/Process.hpp"

namespace bex::buildfile {

/// A home of gpg(1) that nobody else uses: a directory of mode 0700, in the one that the environment's TMPDIR
/// names, or in /tmp. The destructor stops the agent that gpg starts for it, and removes it.
class GpgHome {
public:
    /// Throws StreamError (`inputOutput`).
    GpgHome();
    ~GpgHome();
    GpgHome(const GpgHome&) = delete;
    GpgHome& operator=(const GpgHome&) = delete;

    /// Starts gpg here, without questions to anybody, with these arguments and the passphrase, which may be "".
    /// Throws as signing::FedProgram.
    signing::FedProgram start(const std::vector<std::string>& arguments, const std::string& passphrase) const;
    /// Runs gpg here with the text as its input, and returns what it printed. Throws as start().
    std::string run(const std::vector<std::string>& arguments, std::string_view input,
                    const std::string& passphrase = "") const;

private:
    std::string path_;
};

}  // namespace bex::buildfile
