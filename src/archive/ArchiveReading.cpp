#include <optional>
#include <utility>

#include "archive/EntryReader.hpp"
#include "archive/Handles.hpp"
#include "archive/OwnedFiles.hpp"
#include "bex/Archive.hpp"
#include "support/Utf8CharacterType.hpp"

namespace bex {
namespace {

int readAll(Reader handle, std::optional<std::uint64_t> limit, std::list<sFileInMemory*>& files) {
    const Utf8CharacterType utf8;
    EntryReader entries(handle.get(), limit);
    while (OwnedFile file = entries.next()) {
        append(files, std::move(file));
    }
    archive_read_close(handle.get());  // its result is part of what freeing returns
    return archive_read_free(handle.release());
}

}  // namespace

int Archive::loadArchive(archive* a) {
    return readAll(Reader(a), std::nullopt, filesInMemory_);
}

int Archive::loadArchive(archive* a, unsigned long long limitBytes) {
    return readAll(Reader(a), limitBytes, filesInMemory_);
}

}  // namespace bex
