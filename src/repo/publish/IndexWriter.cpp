#include "repo/publish/IndexWriter.hpp"

#include <fcntl.h>

#include "repo/base/Hasher.hpp"
#include "stream/system/AtomicFile.hpp"

namespace bex::repo {

IndexWriter::~IndexWriter() {
    for (const std::string& path : made_) {
        system_.unlinkat(AT_FDCWD, path.c_str(), 0);  // The next publication removes what this can't.
    }
}

IndexedFile IndexWriter::store(const std::string& index, std::string_view bytes) {
    const IndexedFile file = {sha256Of(bytes), bytes.size()};
    const std::string path = directory_ + "/" + Layout::byHash(index, file.sha256);
    // A file with that name may be of an older generation or of a killed process. It is not noted in made_:
    // clients may need it. The bytes are compared, since a damaged file has the right name, too.
    if (planOnly_ || (sizeOfFile(path) == file.size && readFile(path) == bytes)) {
        return file;
    }
    makeDirectories(stream::directoryOf(path), system_);
    writeFile(path, bytes, system_);
    made_.push_back(path);
    return file;
}

}  // namespace bex::repo
