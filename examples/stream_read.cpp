#include <bex/stream/PackageReader.hpp>
#include <bex/stream/StreamError.hpp>

#include <iostream>
#include <string>

int main() {
    try {
        bex::stream::PackageReader package("site_1.0_all.bex");
        if (const std::string* version = package.control().find("version")) {
            std::cout << "version " << *version << '\n';
        }
        for (bex::stream::Entry entry; package.next(entry);) {
            std::cout << entry.size << ' ' << entry.path << '\n';  // read() gives the contents
        }
        bex::stream::PackageReader("site_1.0_all.bex").extract("unpacked");  // modes, times and links, too
    } catch (const bex::stream::StreamError& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
