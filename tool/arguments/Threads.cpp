#include "arguments/Threads.hpp"

#include <algorithm>
#include <thread>

#include "arguments/Number.hpp"

namespace bex::tool {

namespace {

constexpr unsigned kThreadsPerProcessor = 4;

}  // namespace

unsigned usefulThreads(unsigned asked, unsigned processors) noexcept {
    return std::min(asked, kThreadsPerProcessor * std::max(processors, 1U));
}

void addThreadsOption(CLI::App& app, const std::string& name, unsigned& threads) {
    addNumber<unsigned>(
        app, name, "Number of threads; 0 means one for each processor",
        [&threads](unsigned asked) { threads = usefulThreads(asked, std::thread::hardware_concurrency()); });
}

}  // namespace bex::tool
