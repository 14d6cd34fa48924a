// Runs a program several times and tells of each run: seconds that passed, CPU seconds, KiB of peak memory, exit
// status. CPU time and memory are those of the program and of all that it waited for. A small program of its own,
// because a child's peak begins with its parent's: who starts it must be small.
//
//     bex_bench_run COUNT PROGRAM [ARGUMENT...]

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

[[noreturn]] void becomeProgram(char** program) {
    const int nowhere = open("/dev/null", O_WRONLY);
    if (nowhere >= 0 && dup2(nowhere, STDOUT_FILENO) >= 0) {
        execvp(program[0], program);
    }
    std::perror(program[0]);
    _exit(127);
}

bool runOnce(char** program) {
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        becomeProgram(program);
    }
    int status = 0;
    rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) {
        std::perror("bex_bench_run");
        return false;
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    return std::printf("%.6f %.6f %ld %d\n", elapsed.count(),
                       secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime), usage.ru_maxrss,
                       WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)) > 0;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 3) {
        std::fputs("usage: bex_bench_run COUNT PROGRAM [ARGUMENT...]\n", stderr);
        return 2;
    }
    for (long left = std::strtol(arguments[1], nullptr, 10); left > 0; --left) {
        if (!runOnce(arguments + 2)) {
            return 1;
        }
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
