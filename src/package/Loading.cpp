#include <fstream>
#include <sstream>

#include "archive/BufferRelease.hpp"
#include "archive/OwnedFiles.hpp"
#include "bex/ArArchive.hpp"
#include "bex/BexException.hpp"
#include "bex/TarGzArchive.hpp"
#include "bex/ZRBex.hpp"

namespace bex {
namespace {

/// The payload archive. Its files are moved into the package: copies would take twice the memory.
class Payload : public TarGzArchive {
public:
    using Archive::moveFilesInMemTo;
    using TarGzArchive::TarGzArchive;
};

/// Returns the named file of `archive`, which still owns it. `path` is for the message.
const sFileInMemory& find(const Archive& archive, const std::string& name, const std::string& path) {
    const sFileInMemory* file = archive.getFileInMemory(name);
    if (file == nullptr) {
        throw BexException("Can't find " + name + " in " + path + ". Maybe it is not a bex file.");
    }
    return *file;
}

/// Prefers the name "control.tar.gz" to "./control.tar.gz", and names the former when both are missing.
const sFileInMemory& findControlMember(const Archive& package, const std::string& path) {
    const sFileInMemory* dotted = package.getFileInMemory("./control.tar.gz");
    if (dotted != nullptr && package.getFileInMemory("control.tar.gz") == nullptr) {
        return *dotted;
    }
    return find(package, "control.tar.gz", path);
}

}  // namespace

const std::string ZRBex::magicNumber_ = "<!arch>\n";  // Meant: not the signature of ar, see isValid().

void ZRBex::xLoadBexFile(const std::string& path) {
    ArArchive package(path);
    const BufferRelease memberBytes(package);

    const OwnedFiles files(new std::list<sFileInMemory*>);
    Payload payload(&find(package, "data.tar.gz", path));
    payload.moveFilesInMemTo(*files);
    // The package owns a record from its add() on. `files` frees the others if that throws.
    for (; !files->empty(); files->pop_front()) {
        add(files->front());
    }

    TarGzArchive control(&findControlMember(package, path));
    const BufferRelease controlBytes(control);
    const sFileInMemory& fields = find(control, "control", path);  // Meant: "./control" is not looked up.
    std::stringstream text(std::string(fields.bytes_, fields.size_));
    xParseControlFile(&text);
}

bool ZRBex::isValid(const std::string& path) {
    std::ifstream file(path);
    if (!file.is_open()) {
        throw BexException(path + " can't be opened.");
    }
    std::string start(magicNumber_.size(), '\0');
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    return start == magicNumber_;  // After a shorter file the rest is zeros.
}

bool ZRBex::isValid(const std::istream& /*in*/) {
    return false;
}

}  // namespace bex
