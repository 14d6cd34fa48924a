// Uses everything that the installed headers offer for one package, the way a program elsewhere would, and fails
// with one line at the first thing that is not as promised.

#include <bex/ArArchive.hpp>
#include <bex/BexException.hpp>
#include <bex/MemoryMappedFile.hpp>
#include <bex/PackageManagerFactory.hpp>
#include <bex/TarGzArchive.hpp>
#include <bex/ZRBex.hpp>
#include <bex/ZRBexUtils.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

void require(bool holds, const std::string& what) {
    if (!holds) {
        std::cerr << "consumer: " << what << '\n';
        std::exit(1);
    }
}

void requireEqual(const std::string& seen, const std::string& wanted) {
    require(seen == wanted, "got\n  " + seen + "\ninstead of\n  " + wanted);
}

void write(const fs::path& path, const std::string& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string read(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    require(in.is_open(), "no file " + path.string());
    return {std::istreambuf_iterator<char>(in), {}};
}

/// What `action` writes to standard output.
std::string printed(const std::function<void()>& action) {
    std::ostringstream out;
    std::streambuf* const before = std::cout.rdbuf(out.rdbuf());
    action();
    std::cout.rdbuf(before);
    return out.str();
}

/// The message of the library's exception that `action` throws.
std::string refusal(const std::function<void()>& action) {
    try {
        action();
    } catch (const bex::BexException& failure) {
        return failure.getMessage();
    }
    return "no exception";
}

void releaseLoaded(const bex::ZRBex& package) {
    for (const bex::sFileInMemory* file : package.getFilesInMemory()) {
        delete[] file->bytes_;
        delete file;
    }
}

void build(const fs::path& tree, const std::string& path) {
    const std::unique_ptr<bex::PackageManager> package(bex::PackageManagerFactory().createDebPackageManager());
    requireEqual(package->getExtension(), "wqt");
    package->open(path);
    package->add(tree.string(), "usr/share/site");
    package->setPackageName("site");
    package->setMaintainer("Ann Lee <ann@example.org>");
    package->setEssential("no");
    package->setDescription("Outside consumer");
    requireEqual(refusal([&] { package->close(); }), "Missing version.");
    package->setVersion("1.0");
    requireEqual(printed([&] { package->close(); }), "Archive " + path + " has been created.\n");
    for (const FileOnDisk* file : static_cast<const bex::ZRBex&>(*package).getFilesOnDisk()) {
        delete file;
    }
}

void readBack(const fs::path& tree, const std::string& path, const fs::path& destination) {
    bex::ZRBex package;
    package.open(path);
    requireEqual(printed([&] { package.printInfo(); }),
                 "Description: Outside consumer\nEssential: no\nMaintainer: Ann Lee <ann@example.org>\n"
                 "Package: site\nVersion: 1.0\n");
    requireEqual(printed([&] { package.printFiles(); }),
                 "usr/share/site/\nusr/share/site/css/\nusr/share/site/css/main.css\nusr/share/site/index.html\n");
    require(package.isFileInArchive("usr/share/site/index.html"), "index.html is not in the package");
    require(!bex::ZRBex::isValid(path), "isValid takes the usual ar signature");

    requireEqual(refusal([&] { package.extract(destination.string(), ""); }),
                 "Can't extract bex file to `" + destination.string() + "': `" + destination.string() +
                     "' does not exist or is not a directory.");
    fs::create_directory(destination);
    package.extract(destination.string(), "opt");
    for (const char* name : {"index.html", "css/main.css"}) {
        require(read(destination / "opt/share/site" / name) == read(tree / name), std::string(name) + " differs");
    }
    releaseLoaded(package);
}

void refuse(const fs::path& work) {
    bex::ZRBex package;
    const std::string missing = (work / "missing").string();
    const std::string noArchive = (work / "tree/index.html").string();
    const std::string noPackage = (work / "empty.a").string();
    write(noPackage, "!<arch>\n");
    requireEqual(refusal([&] { package.close(); }), "No filename specified. Can't write archive to disk.");
    package.open(missing);
    requireEqual(refusal([&] { package.close(); }), "Empty archives are not allowed. Please add some files.");
    requireEqual(refusal([&] { package.add(missing, "x"); }),
                 "Can't add " + missing + " file to bex because it is not accessible doesn't exist.");
    requireEqual(refusal([&] { package.setEssential("maybe"); }),
                 "Incorrect format for field Essential. It must be yes or no");
    const std::string maintainer = refusal([&] { package.setMaintainer("nobody"); });
    requireEqual(maintainer.substr(0, maintainer.find('<')),
                 "Incorrect format for field Maintainer.It must be of this form: Firstname Lastname ");
    requireEqual(refusal([&] { bex::ZRBex::isValid(missing); }), missing + " can't be opened.");
    requireEqual(refusal([&] { package.open(noArchive); }),
                 "ArArchive::ArArchive (" + noArchive + "): impossible to open " + noArchive + " file.");
    requireEqual(refusal([&] { package.open(noPackage); }),
                 "Can't find data.tar.gz in " + noPackage + ". Maybe it is not a bex file.");
}

/// The archive layer by itself: the package's members and the control file in one of them.
void readMembers(const std::string& path) {
    bex::ArArchive package(path);
    require(package.getFileInMemory("debian-binary") != nullptr, "no debian-binary in the package");
    require(package.getFileInMemory("data.tar.gz") != nullptr, "no data.tar.gz in the package");
    const bex::sFileInMemory* const control = package.getFileInMemory("control.tar.gz");
    require(control != nullptr, "no control.tar.gz in the package");
    bex::TarGzArchive fields(control);
    const bex::sFileInMemory* const text = fields.getFileInMemory("control");
    require(text != nullptr, "no control file in control.tar.gz");
    requireEqual(std::string(text->bytes_, text->size_).substr(0, 30), "Description: Outside consumer\n");
    fields.releaseBuffers();
    package.releaseBuffers();
}

}  // namespace

int main(int argc, char** argv) {
    require(argc == 2, "usage: consumer EMPTY-FOLDER");
    const fs::path work = fs::absolute(argv[1]);
    const fs::path tree = work / "tree";
    const std::string path = (work / "site.bex").string();
    write(tree / "index.html", "<p>hello</p>\n");
    write(tree / "css/main.css", std::string(100000, 'x'));

    build(tree, path);
    readBack(tree, path, work / "out");
    refuse(work);
    readMembers(path);
    bex::ZRBexUtils::kill();
    std::cout << "all as promised\n";
}
