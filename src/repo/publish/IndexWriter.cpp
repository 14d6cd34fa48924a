#include "repo/publish/IndexWriter.hpp"

#include <fcntl.h>

#include "stream/system/AtomicFile.hpp"

namespace bex::repo {

IndexWriter::~IndexWriter() {
    for (const std::string& path : made_) {
        system_.unlinkat(AT_FDCWD, path.c_str(), 0);  // The next publication removes what this can't.
    }
}

void IndexWriter::store(const std::string& index, const IndexedFile& file, std::string_view bytes) {
    const std::string path = directory_ + "/" + Layout::byHash(index, file.sha256);
    // A file with that name may be of an older generation or of a killed process. It is not noted in made_:
    // clients may need it. The bytes are compared, since a damaged file has the right name, too.
    if (planOnly_ || (sizeOfFile(path) == file.size && readFile(path) == bytes)) {
        return;
    }
    makeDirectories(stream::directoryOf(path), system_);
    files_.write(path, bytes);
    made_.push_back(path);
}

}  // namespace bex::repo
