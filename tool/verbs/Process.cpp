#include "verbs/Process.hpp"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "stream/base/Owners.hpp"
#include "stream/base/Text.hpp"

extern char** environ;

namespace bex::tool {

namespace {

/// The end of what a program said, enough for its last messages.
std::string said(std::FILE* file) {
    constexpr std::size_t maximumBytes = 2000;
    std::string text(maximumBytes, '\0');
    // The program wrote through the same open file, and left its position at the end.
    std::rewind(file);
    text.resize(std::fread(text.data(), 1, text.size(), file));
    // Of a program that said nothing all goes: npos + 1 is 0.
    text.erase(text.find_last_not_of('\n') + 1);
    return stream::escapeForDisplay(text);
}

}  // namespace

std::string findProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    // As execvp(3) searches where PATH is not set.
    if (path == nullptr) {
        path = "/usr/bin:/bin";
    }
    std::string found;
    stream::forEachPart(path, ':', [&](std::string_view directory) {
        std::string program = std::string(directory) + "/" + name;
        // An empty component means the current directory for a shell: programs of a tree to be packaged must not
        // run.
        if (found.empty() && !directory.empty() && access(program.c_str(), X_OK) == 0) {
            found = std::move(program);
        }
    });
    return found;
}

/// Without a shell: arguments reach the program as they are, whatever characters they hold.
void runProgram(const std::vector<std::string>& command) {
    // A file and not a pipe: nobody has to read while the program runs, and it cannot block.
    const stream::PlainFile messages(std::tmpfile());
    if (messages == nullptr) {
        throw systemError(command.front(), "run it", errno);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fileno(messages.get()), STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(messages.get()), STDOUT_FILENO);
    // Pointers into the caller's strings, which outlive the call; the program gets copies.
    std::vector<char*> arguments;
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));  // The call's type is older than const.
    }
    arguments.push_back(nullptr);
    pid_t process = 0;
    const int failed =
        posix_spawn(&process, command.front().c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        throw systemError(command.front(), "run it", failed);
    }
    int status = 0;
    // A signal may end the wait and not the program, which must not outlive its files.
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            throw systemError(command.front(), "wait for it", errno);
        }
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw stream::StreamError(stream::ErrorKind::inputOutput,
                                  stream::escapeForDisplay(command.front()) + " failed: " + said(messages.get()));
    }
}

}  // namespace bex::tool
