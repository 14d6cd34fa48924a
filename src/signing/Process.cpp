#include "signing/Process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "stream/base/Owners.hpp"

extern char** environ;

namespace bex::signing {

using stream::PlainDescriptor;
using stream::PlainFile;

namespace {

// Bounds the memory that a program gone wrong can cost; what is asked for is a signature and a text.
constexpr std::size_t kLongestOutput = std::size_t{64} << 20;
constexpr std::size_t kLongestMessage = 2000;

constexpr std::size_t kLongestSecret = 4096;  // a pipe holds as much while nobody reads

stream::ErrorRecord recordOf(const char* code, const std::string& program, const std::string& reason) {
    stream::ErrorRecord record;
    record.kind = stream::ErrorKind::inputOutput;
    record.code = code;
    record.package = program;
    record.reason = reason;
    return record;
}

stream::StreamError signerFailure(const std::string& program, const std::string& reason) {
    return stream::StreamError(recordOf("signer", program, reason));
}

/// With the system's text for errno.
stream::StreamError systemFailure(const std::string& program, const std::string& action) {
    const int error = errno;
    stream::ErrorRecord record =
        recordOf("input-output", program, "can't " + action + ": " + std::strerror(error));
    record.systemError = error;
    return stream::StreamError(std::move(record));
}

/// A temporary file without a name, so that a killed process leaves none. Files rather than pipes: the program
/// may write before it reads, or not read at all, and neither side waits for the other.
PlainFile scratch(const std::string& program) {
    PlainFile file(std::tmpfile());
    if (file == nullptr) {
        throw systemFailure(program, "make a temporary file for it");
    }
    return file;
}

/// What the program wrote, at most `limit` bytes of it.
std::string contentsOf(const PlainFile& file, std::size_t limit) {
    struct stat status {};
    if (fstat(fileno(file.get()), &status) != 0) {
        return "";
    }
    std::string text(std::min<std::size_t>(limit, static_cast<std::size_t>(status.st_size)), '\0');
    std::rewind(file.get());
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    return text;
}

/// A process that was started: killed, with what it started, unless its end was met.
class Child {
public:
    Child(pid_t process, std::string program) : process_(process), program_(std::move(program)) {}
    ~Child() {
        // Not waited for yet, so that its number can't be another process's by now. The minus sign means the
        // group.
        if (process_ > 0) {
            kill(-process_, SIGKILL);
            waitForEnd();
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// The status of waitpid(2). Throws where the process does not end in time.
    int end(std::chrono::seconds timeout) {
        // Without pidfd_open(2), before Linux 5.3, the process has as long as it takes.
        const PlainDescriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)));
        if (handle) {
            const auto wanted = std::chrono::milliseconds(timeout).count();
            // The descriptor becomes readable when the process ends.
            pollfd ended = {handle.get(), POLLIN, 0};
            int count = -1;
            do {  // A signal that is met begins the time anew: none is expected.
                count = poll(&ended, 1,
                             static_cast<int>(std::min<std::int64_t>(wanted, std::numeric_limits<int>::max())));
            } while (count < 0 && errno == EINTR);
            if (count == 0) {
                throw signerFailure(
                    program_, "did not end within " + std::to_string(timeout.count()) + " s and was stopped");
            }
        }
        const int status = waitForEnd();
        // From here on the number is free for another process: the destructor must not kill it.
        process_ = 0;
        return status;
    }

private:
    int waitForEnd() const {
        int status = -1;
        while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        return status;
    }

    pid_t process_;
    std::string program_;
};

/// What a program gets and leaves. `secret` may be empty.
struct Ends {
    int in;
    int out;
    int messages;
    int secret = -1;
};

pid_t start(const std::vector<std::string>& command, const Ends& ends) {
    std::vector<char*> arguments;
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));  // The call's type is older than const.
    }
    arguments.push_back(nullptr);
    // posix_spawn() rather than fork(): other threads may hold locks, which would stay locked in a forked child.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends.in, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends.out, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends.messages, STDERR_FILENO);
    // After the others, one of which may have this number here.
    if (ends.secret >= 0) {
        posix_spawn_file_actions_adddup2(&actions, ends.secret, kSecretDescriptor);
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // A group, so that what it starts can be stopped with it; signals that the command ignores have their effect.
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    sigaddset(&usual, SIGXFSZ);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    pid_t process = 0;
    const int failed =
        posix_spawnp(&process, command.front().c_str(), &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        throw signerFailure(command.front(), std::string("can't run it: ") + std::strerror(failed));
    }
    return process;
}

/// What the program printed until its end. Throws what it said if it did not end with 0.
std::string endOf(Child& child, const std::string& program, const PlainFile& out, const PlainFile& messages,
                  std::chrono::seconds timeout) {
    const int status = child.end(timeout);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::string said = contentsOf(messages, kLongestMessage);
        said.erase(said.find_last_not_of('\n') + 1);
        throw signerFailure(program, "failed: " + stream::escapeForDisplay(said));
    }
    return contentsOf(out, kLongestOutput);
}

/// The end to read of a pipe that holds the secret.
PlainDescriptor pipeOf(const std::string& secret, const std::string& program) {
    if (secret.size() > kLongestSecret) {
        throw signerFailure(program, "its passphrase has more than " + std::to_string(kLongestSecret) + " bytes");
    }
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw systemFailure(program, "make a pipe for it");
    }
    PlainDescriptor reading(ends[0]);
    const PlainDescriptor writing(ends[1]);
    if (::write(writing.get(), secret.data(), secret.size()) != static_cast<ssize_t>(secret.size())) {
        throw systemFailure(program, "write to it");
    }
    return reading;
}

}  // namespace

std::string outputOf(const std::vector<std::string>& command, const std::string& input,
                     std::chrono::seconds timeout) {
    const std::string& program = command.front();
    const PlainFile in = scratch(program);
    const PlainFile out = scratch(program);
    const PlainFile messages = scratch(program);
    if (std::fwrite(input.data(), 1, input.size(), in.get()) != input.size() || std::fflush(in.get()) != 0) {
        throw systemFailure(program, "write its input");
    }
    // The program inherits the position of the file, too; without this it would begin at the end.
    std::rewind(in.get());
    Child child(start(command, {fileno(in.get()), fileno(out.get()), fileno(messages.get())}), program);
    return endOf(child, program, out, messages, timeout);
}

class FedProgram::Running {
public:
    Running(const std::vector<std::string>& command, const std::string& secret, std::chrono::seconds timeout)
        : program_(command.front()), timeout_(timeout), out_(scratch(program_)), messages_(scratch(program_)) {
        // A socket rather than a pipe: a program that has ended is an error of the call, and no signal.
        int ends[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw systemFailure(program_, "make a socket for it");
        }
        input_ = PlainDescriptor(ends[0]);
        const PlainDescriptor theirs(ends[1]);
        timeval limit{};
        limit.tv_sec = timeout.count();
        if (setsockopt(input_.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0) {
            throw systemFailure(program_, "set its time limit");
        }
        const PlainDescriptor reading = pipeOf(secret, program_);
        child_.emplace(start(command, {theirs.get(), fileno(out_.get()), fileno(messages_.get()), reading.get()}),
                       program_);
    }

    void write(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = send(input_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0) {
                failToWrite(errno);
            }
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    std::string finish() {
        input_ = PlainDescriptor();
        return endOf(*child_, program_, out_, messages_, timeout_);
    }

private:
    [[noreturn]] void failToWrite(int error) {
        if (error == EAGAIN || error == EWOULDBLOCK) {
            throw signerFailure(program_,
                                "read nothing for " + std::to_string(timeout_.count()) + " s and was stopped");
        }
        // A program that ended early has said why.
        finish();
        throw signerFailure(program_, "did not read all of its input");
    }

    std::string program_;
    std::chrono::seconds timeout_;
    PlainFile out_;
    PlainFile messages_;
    PlainDescriptor input_;
    std::optional<Child> child_;  ///< ended before its files are closed
};

FedProgram::FedProgram(const std::vector<std::string>& command, const std::string& secret,
                       std::chrono::seconds timeout)
    : running_(std::make_unique<Running>(command, secret, timeout)) {}
FedProgram::FedProgram(FedProgram&&) noexcept = default;
FedProgram& FedProgram::operator=(FedProgram&&) noexcept = default;
FedProgram::~FedProgram() = default;

void FedProgram::write(std::string_view bytes) {
    running_->write(bytes);
}

std::string FedProgram::finish() {
    return running_->finish();
}

}  // namespace bex::signing
