#include "Interrupt.hpp"

#include <csignal>
#include <initializer_list>

namespace bex::tool {

namespace {

volatile std::sig_atomic_t cameSignal = 0;

extern "C" void noteSignal(int number) {
    cameSignal = number;
}

}  // namespace

void catchInterrupts() {
    struct sigaction action {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // no SA_RESTART: a read that waits for input ends
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM}) {
        sigaction(number, &action, nullptr);
    }
}

bool interrupted() noexcept {
    return cameSignal != 0;
}

}  // namespace bex::tool
