#include "output/Interrupt.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

namespace bex::tool {

namespace {

volatile std::sig_atomic_t cameSignal = 0;
volatile std::sig_atomic_t nullDevice = -1;

extern "C" void noteSignal(int number) {
    const int errorBefore = errno;
    cameSignal = number;
    if (nullDevice >= 0) {
        dup2(nullDevice, STDIN_FILENO);
        dup2(nullDevice, STDOUT_FILENO);
    }
    errno = errorBefore;
}

}  // namespace

void catchInterrupts() {
    nullDevice =
        open("/dev/null", O_RDWR | O_CLOEXEC);  // Without it only a wait for input or output lasts longer.
    struct sigaction action {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // no SA_RESTART: a read that waits for input ends
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            sigaction(number, &action, nullptr);
        }
    }
}

bool interrupted() noexcept {
    return cameSignal != 0;
}

}  // namespace bex::tool
