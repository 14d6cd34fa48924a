// Packages a folder, opens the package again, shows what is in it and unpacks it:
//   package_tree SOURCE PACKAGE DESTINATION
// PACKAGE must not exist yet (it would be opened and added to); DESTINATION must.

#include <bex/BexException.hpp>
#include <bex/MemoryMappedFile.hpp>
#include <bex/PackageManagerFactory.hpp>
#include <bex/ZRBex.hpp>

#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

namespace {

constexpr int shownPaths = 10;

/// Writes `source` and everything below it as the package `path`, without a leading folder.
void build(const std::string& source, const std::string& path) {
    const std::unique_ptr<bex::PackageManager> package(bex::PackageManagerFactory().createDebPackageManager());
    package->open(path);
    package->add(source, ".");
    package->setPackageName("example-tree");
    package->setVersion("1.0");
    package->setArchitecture("all");
    package->setEssential("no");
    package->setMaintainer("Ann Lee <ann@example.org>");
    package->setDescription("A folder tree, packaged");
    package->close();
    // A package lists its records and releases none: what add() made is the caller's.
    for (const FileOnDisk* file : static_cast<const bex::ZRBex&>(*package).getFilesOnDisk()) {
        delete file;
    }
}

/// Prints the fields and the first paths.
void show(const bex::ZRBex& package) {
    package.printInfo();
    int shown = 0;
    for (const std::string& path : package.getFiles()) {
        if (shown++ == shownPaths) {
            break;
        }
        std::cout << "  " << path << '\n';
    }
    std::cout << package.getFiles().size() << " entries in all\n";
}

/// Opens the package at `path`, shows it and unpacks it below `destination`.
void unpack(const std::string& path, const std::string& destination) {
    bex::ZRBex package;
    package.open(path);
    show(package);
    package.extract(destination, "");
    for (const bex::sFileInMemory* file : package.getFilesInMemory()) {
        delete[] file->bytes_;
        delete file;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: package_tree SOURCE PACKAGE DESTINATION\n";
        return 2;
    }
    try {
        if (std::filesystem::exists(argv[2])) {
            throw bex::BexException(std::string(argv[2]) + " exists already.");
        }
        build(argv[1], argv[2]);
        unpack(argv[2], argv[3]);
        return 0;
    } catch (const bex::BexException& failure) {
        std::cerr << "package_tree: " << failure.getMessage() << '\n';
    } catch (const std::exception& failure) {  // of the file system, or memory ran out
        std::cerr << "package_tree: " << failure.what() << '\n';
    }
    return 1;
}
