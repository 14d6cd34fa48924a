#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "Mutator.hpp"
#include "Target.hpp"

// The entry points that libFuzzer calls.

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximum);

namespace {

const bex::fuzz::Target* chosen = nullptr;

}  // namespace

/// One program for all targets: the environment's BEX_FUZZ_TARGET names the one, for child processes as well.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const char* name = std::getenv("BEX_FUZZ_TARGET");
    try {
        chosen = &bex::fuzz::targetNamed(name != nullptr ? name : "");
    } catch (const std::exception& failure) {
        std::cerr << "BEX_FUZZ_TARGET: " << failure.what() << '\n';
        std::exit(2);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    chosen->run({reinterpret_cast<const char*>(data), size});
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximum,
                                               unsigned seed) {
    return bex::fuzz::mutate(chosen->shape, data, size, maximum, seed, LLVMFuzzerMutate);
}
