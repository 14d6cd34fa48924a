#include "repo/publish/Process.hpp"

#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <memory>

#include "repo/base/Failure.hpp"
#include "stream/system/Descriptor.hpp"

extern char** environ;

namespace bex::repo {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// Bounds the memory that a program gone wrong can cost; what is asked for is a signature and a text.
constexpr std::size_t kLongestOutput = std::size_t{64} << 20;
constexpr std::size_t kLongestMessage = 2000;

StreamError signerFailure(const std::string& program, const std::string& reason) {
    return failure(ErrorKind::inputOutput, "signer", program, reason);
}

/// A temporary file without a name, so that a killed process leaves none. Files rather than pipes: the program
/// may write before it reads, or not read at all, and neither side waits for the other.
File scratch(const std::string& program) {
    File file(std::tmpfile(), std::fclose);
    if (file == nullptr) {
        throw systemFailure(program, "make a temporary file for it", errno);
    }
    return file;
}

/// What the program wrote, at most `limit` bytes of it.
std::string contentsOf(const File& file, std::size_t limit) {
    std::string text(limit, '\0');
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
        const stream::Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process_, 0)),
                                        stream::System::real());
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

pid_t start(const std::vector<std::string>& command, const File& in, const File& out, const File& messages) {
    std::vector<char*> arguments;
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));  // The call's type is older than const.
    }
    arguments.push_back(nullptr);
    // posix_spawn() rather than fork(): other threads may hold locks, which would stay locked in a forked child.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fileno(in.get()), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(out.get()), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(messages.get()), STDERR_FILENO);
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

}  // namespace

std::string outputOf(const std::vector<std::string>& command, const std::string& input,
                     std::chrono::seconds timeout) {
    const std::string& program = command.front();
    const File in = scratch(program);
    const File out = scratch(program);
    const File messages = scratch(program);
    if (std::fwrite(input.data(), 1, input.size(), in.get()) != input.size() || std::fflush(in.get()) != 0) {
        throw systemFailure(program, "write its input", errno);
    }
    // The program inherits the position of the file, too; without this it would begin at the end.
    std::rewind(in.get());
    const int status = Child(start(command, in, out, messages), program).end(timeout);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::string said = contentsOf(messages, kLongestMessage);
        said.erase(said.find_last_not_of('\n') + 1);
        throw signerFailure(program, "failed: " + stream::escapeForDisplay(said));
    }
    return contentsOf(out, kLongestOutput);
}

}  // namespace bex::repo
