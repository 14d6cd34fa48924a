#include "Failure.hpp"
#include "FileInMemory.hpp"
#include "Target.hpp"
#include "Watched.hpp"
#include "bex/MemoryMappedFile.hpp"
#include "bex/ZRBex.hpp"

namespace bex::fuzz {
namespace {

/// A package object that releases the records which opening leaves to the caller.
class OwningPackage : public ZRBex {
public:
    ~OwningPackage() override {
        for (const sFileInMemory* file : getFilesInMemory()) {
            delete[] file->bytes_;
            delete file;
        }
    }
};

}  // namespace

/// The object library opens and extracts, or throws, and writes nothing beside the destination.
void runObject(std::string_view input) {
    const FileInMemory file(input);
    const Watched watched(Watched::Traps::none);
    OwningPackage package;
    const std::string failure = test::failureOf([&] { package.open(file.path()); });
    if (failure.empty()) {
        for (const char* field : {"Package", "Version", "Description"}) {
            require(package.getMetaData().count(field) != 0, "a package that was opened has its fields", field);
        }
        require(package.getFiles().size() == package.getFilesInMemory().size(), "every entry is listed");
    }
    const char* const tops[] = {"", "top", "../canary", "/"};
    const std::string top = tops[input.size() % 4];
    test::failureOf([&] { package.extract(watched.destination(), top); });
    watched.check();
}

}  // namespace bex::fuzz
