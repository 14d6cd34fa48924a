#include "CommandLine.hpp"

int main(int argc, char** argv) {
    return static_cast<int>(bex::tool::run(argc, argv));
}
