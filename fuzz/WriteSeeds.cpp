#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "Seeds.hpp"
#include "Target.hpp"

/// Writes the seeds of a target into a folder, which is made; without arguments, the names of the targets.
int main(int count, char** arguments) {
    if (count == 1) {
        for (const bex::fuzz::Target& target : bex::fuzz::targets()) {
            std::cout << target.name << '\n';
        }
        return 0;
    }
    if (count != 3) {
        std::cerr << "usage: bex_fuzz_seeds [TARGET FOLDER]\n";
        return 2;
    }
    try {
        const std::filesystem::path folder(arguments[2]);
        std::filesystem::create_directories(folder);
        std::size_t number = 0;
        for (const std::string& seed : bex::fuzz::seedsFor(arguments[1])) {
            std::ofstream out(folder / ("seed-" + std::to_string(++number)), std::ios::binary);
            if (!out.write(seed.data(), static_cast<std::streamsize>(seed.size())).flush()) {
                throw std::runtime_error("can't write into " + folder.string());
            }
        }
    } catch (const std::exception& failure) {
        std::cerr << "bex_fuzz_seeds: " << failure.what() << '\n';
        return 1;
    }
    return 0;
}
