/// Opens a package with the object library and extracts it: objects PACKAGE DESTINATION. Status 0 when it did, 3
/// when the library refused; 4 when the disk did, which the interface lets through as it is; 5 for anything else.

#include <boost/filesystem/exception.hpp>
#include <clocale>
#include <iostream>
#include <new>

#include "Packages.hpp"
#include "bex/BexException.hpp"

namespace {

int openAndExtract(const char* path, const char* destination) {
    try {
        bex::test::Package package(path);
        package.extract(destination, "");
        return 0;
    } catch (const bex::BexException& failure) {
        std::cout << failure.getMessage() << '\n';
        return 3;
    } catch (const boost::filesystem::filesystem_error& failure) {
        std::cout << failure.what() << '\n';
        return 4;
    } catch (const std::bad_alloc& failure) {
        std::cout << failure.what() << '\n';
        return 4;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 5;
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    return argc == 3 ? openAndExtract(argv[1], argv[2]) : 2;
}
