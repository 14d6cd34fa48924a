#include <bex/BexException.hpp>
#include <bex/MemoryMappedFile.hpp>
#include <bex/ZRBex.hpp>

#include <iostream>

int main() {
    try {
        bex::ZRBex package;
        package.open("site.bex");        // there already: it is loaded
        package.printInfo();             // the fields, one a line
        package.printFiles();            // the paths in it, one a line
        package.extract("public2", "");  // a directory that has to be there
        for (const bex::sFileInMemory* file : package.getFilesInMemory()) {
            delete[] file->bytes_;  // ours, see the table of owners
            delete file;
        }
    } catch (const bex::BexException& failure) {
        std::cerr << failure.getMessage() << '\n';
        return 1;
    }
}
