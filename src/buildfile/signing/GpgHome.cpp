#include "buildfile/signing/GpgHome.hpp"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"

namespace bex::buildfile {

namespace {

// For each step. It takes a fraction of a second, but a busy machine may need much longer.
constexpr std::chrono::seconds kTimeout(180);

std::string newDirectory() {
    const char* parent = std::getenv("TMPDIR");
    std::string path = "/tmp";
    if (parent != nullptr && *parent != '\0') {
        path = parent;
    }
    path += "/bex-gpg-XXXXXX";
    // Made with mode 0700.
    if (mkdtemp(path.data()) == nullptr) {
        throw stream::StreamError(
            stream::ErrorKind::inputOutput,
            stream::escapeForDisplay(path) + ": can't make a directory for gpg: " + std::strerror(errno));
    }
    return path;
}

}  // namespace

GpgHome::GpgHome() : path_(newDirectory()) {
    // Empty, but there: gpg says with every other message that it made the file. If it is missing, gpg makes it.
    const std::ofstream keyring(path_ + "/pubring.kbx");
    // The agent protects its copy of the key by the passphrase again. It would first measure how many rounds of
    // that keep a processor busy for 0.1 s, and take three times as long in all; the copy lives for moments.
    std::ofstream(path_ + "/gpg-agent.conf") << "s2k-count 1015808\n";
}

GpgHome::~GpgHome() {
    try {
        // The agent is not a child of this process. It would end by itself, but only after a while.
        signing::outputOf({"gpgconf", "--homedir", path_, "--kill", "gpg-agent"}, "", kTimeout);
        // Sockets that are in /run because it exists.
        signing::outputOf({"gpgconf", "--homedir", path_, "--remove-socketdir"}, "", kTimeout);
    } catch (const std::exception&) {
        // The directory goes all the same: without its sockets the agent ends.
    }
    // The agent removes its sockets as well: a name that vanishes meanwhile may end the first attempt.
    std::error_code failure;
    constexpr int attempts = 3;
    for (int i = 0; i < attempts && (i == 0 || failure); ++i) {
        std::filesystem::remove_all(path_, failure);
    }
}

signing::FedProgram GpgHome::start(const std::vector<std::string>& arguments,
                                   const std::string& passphrase) const {
    std::vector<std::string> command = {"gpg",      "--homedir",       path_,
                                        "--batch",  "--no-tty",        "--pinentry-mode",
                                        "loopback", "--passphrase-fd", std::to_string(signing::kSecretDescriptor)};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return {command, passphrase, kTimeout};
}

std::string GpgHome::run(const std::vector<std::string>& arguments, std::string_view input,
                         const std::string& passphrase) const {
    signing::FedProgram program = start(arguments, passphrase);
    program.write(input);
    return program.finish();
}

}  // namespace bex::buildfile
