#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "Seeds.hpp"
#include "Target.hpp"

namespace {

namespace fs = std::filesystem;

/// Says what comes before it comes: a promise that is broken ends the process.
void run(const bex::fuzz::Target& target, const std::string& name, const std::string& input) {
    std::cout << target.name << ": " << name << std::endl;
    target.run(input);
}

std::size_t replay(const bex::fuzz::Target& target, const fs::path& folder) {
    std::size_t inputs = 0;
    if (!fs::is_directory(folder)) {
        return inputs;
    }
    for (const auto& file : fs::directory_iterator(folder)) {
        std::ifstream in(file.path(), std::ios::binary);
        run(target, file.path().string(), {std::istreambuf_iterator<char>(in), {}});
        ++inputs;
    }
    return inputs;
}

}  // namespace

/// Runs every target over its seeds and over the inputs in FOLDER/TARGET, for each folder given.
int main(int count, char** arguments) {
    try {
        std::size_t inputs = 0;
        for (const bex::fuzz::Target& target : bex::fuzz::targets()) {
            std::size_t number = 0;
            for (const std::string& seed : bex::fuzz::seedsFor(target.name)) {
                run(target, "seed " + std::to_string(++number), seed);
            }
            inputs += number;
            for (int i = 1; i < count; ++i) {
                inputs += replay(target, fs::path(arguments[i]) / target.name);
            }
        }
        std::cout << inputs << " inputs, no promise broken\n";
    } catch (const std::exception& failure) {
        std::cerr << "bex_fuzz_replay: " << failure.what() << '\n';
        return 1;
    }
    return 0;
}
