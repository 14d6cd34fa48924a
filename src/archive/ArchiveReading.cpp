#include <archive.h>

#include <optional>
#include <utility>

#include "archive/EntryReader.hpp"
#include "archive/OwnedFiles.hpp"
#include "bex/Archive.hpp"
#include "support/Utf8CharacterType.hpp"

namespace bex {
namespace {

/// Frees the handle at the end only: after a throw it is the caller's, who may free it or ask it for its error.
int readAll(archive* a, std::optional<std::uint64_t> limit, std::list<sFileInMemory*>& files) {
    const Utf8CharacterType utf8;
    EntryReader entries(a, limit);
    while (OwnedFile file = entries.next()) {
        append(files, std::move(file));
    }
    archive_read_close(a);  // The result is not checked: freeing returns it as well.
    return archive_read_free(a);
}

}  // namespace

int Archive::loadArchive(archive* a) {
    return readAll(a, std::nullopt, filesInMemory_);
}

int Archive::loadArchive(archive* a, unsigned long long limitBytes) {
    return readAll(a, limitBytes, filesInMemory_);
}

}  // namespace bex
