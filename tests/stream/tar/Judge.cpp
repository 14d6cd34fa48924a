#include "stream/tar/Judge.hpp"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <memory>

#include "support/Utf8CharacterType.hpp"

namespace bex::test {

namespace {

using stream::Entry;
using stream::EntryType;

std::string textOf(const char* text) {
    return text == nullptr ? "" : text;
}

EntryType typeOf(archive_entry* from) {
    if (archive_entry_hardlink(from) != nullptr) {
        return EntryType::hardlink;
    }
    switch (archive_entry_filetype(from)) {
        case AE_IFREG:
            return EntryType::file;
        case AE_IFDIR:
            return EntryType::directory;
        case AE_IFLNK:
            return EntryType::symlink;
        default:
            return EntryType::other;
    }
}

Entry entryOf(archive_entry* from) {
    Entry entry;
    entry.type = typeOf(from);
    entry.path = textOf(archive_entry_pathname(from));
    if (entry.type == EntryType::directory && (entry.path.empty() || entry.path.back() != '/')) {
        entry.path += '/';
    }
    const bool isHardlink = entry.type == EntryType::hardlink;
    entry.linkTarget = textOf(isHardlink ? archive_entry_hardlink(from) : archive_entry_symlink(from));
    entry.mode = archive_entry_perm(from) & 07777U;
    entry.size = entry.type == EntryType::file ? static_cast<std::uint64_t>(archive_entry_size(from)) : 0;
    entry.mtime = archive_entry_mtime(from);
    entry.uid = static_cast<std::uint64_t>(archive_entry_uid(from));
    entry.gid = static_cast<std::uint64_t>(archive_entry_gid(from));
    entry.owner = textOf(archive_entry_uname(from));
    entry.group = textOf(archive_entry_gname(from));
    return entry;
}

std::string contentsOf(archive* from) {
    std::string contents;
    const void* data = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    while (archive_read_data_block(from, &data, &size, &offset) == ARCHIVE_OK) {
        contents.append(static_cast<const char*>(data), size);
    }
    return contents;
}

}  // namespace

std::string lineOf(const Entry& entry, const std::string& contents) {
    return entry.path + '>' + entry.linkTarget + '|' + std::to_string(static_cast<int>(entry.type)) + '|' +
           std::to_string(entry.size) + '|' + std::to_string(entry.mtime) + '|' + std::to_string(entry.uid) + ':' +
           entry.owner + '|' + std::to_string(entry.gid) + ':' + entry.group + '|' + std::to_string(entry.mode) +
           '=' + contents;
}

std::vector<std::string> readByLibarchive(std::string_view tar, std::size_t most) {
    const bex::Utf8CharacterType utf8;  // the texts of pax records are UTF-8
    const std::unique_ptr<archive, decltype(&archive_read_free)> reader(archive_read_new(), archive_read_free);
    archive_read_support_format_tar(reader.get());
    std::vector<std::string> entries;
    archive_entry* entry = nullptr;
    if (archive_read_open_memory(reader.get(), tar.data(), tar.size()) != ARCHIVE_OK) {
        return entries;
    }
    while (entries.size() < most) {
        const int result = archive_read_next_header(reader.get(), &entry);
        if (result != ARCHIVE_OK && result != ARCHIVE_WARN) {
            break;
        }
        entries.push_back(lineOf(entryOf(entry), contentsOf(reader.get())));
    }
    return entries;
}

}  // namespace bex::test
