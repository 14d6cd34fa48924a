#include "stream/tar/TarReader.hpp"

#include <cerrno>
#include <new>
#include <optional>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "support/Utf8CharacterType.hpp"

namespace bex::stream {
namespace {

std::string_view textOf(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

/// The type as the header tells it; a file whose name ends with "/" is a directory to every reader.
EntryType typeOf(const TarHeader& header) {
    switch (header.type) {
        case '0':
        case '\0':
        case 'S':
            return !header.path.empty() && header.path.back() == '/' ? EntryType::directory : EntryType::file;
        case '1':
            return EntryType::hardlink;
        case '2':
            return EntryType::symlink;
        case '3':
            return EntryType::characterDevice;
        case '4':
            return EntryType::blockDevice;
        case '5':
            return EntryType::directory;
        case '6':
            return EntryType::fifo;
        default:
            return EntryType::other;
    }
}

EntryType typeOf(archive_entry* decoded) {
    if (archive_entry_hardlink(decoded) != nullptr) {
        return EntryType::hardlink;
    }
    switch (archive_entry_filetype(decoded)) {
        case AE_IFREG:
            return EntryType::file;
        case AE_IFDIR:
            return EntryType::directory;
        case AE_IFLNK:
            return EntryType::symlink;
        case AE_IFCHR:
            return EntryType::characterDevice;
        case AE_IFBLK:
            return EntryType::blockDevice;
        case AE_IFIFO:
            return EntryType::fifo;
        default:
            return EntryType::other;
    }
}

/// What the map of a sparse entry claims to be stored.
std::uint64_t mappedBytes(archive_entry* decoded) {
    std::uint64_t bytes = 0;
    // By count: asked for the map of one block, libarchive frees it and would go on in it.
    for (int blocks = archive_entry_sparse_reset(decoded); blocks > 0; --blocks) {
        la_int64_t offset = 0;
        la_int64_t length = 0;
        archive_entry_sparse_next(decoded, &offset, &length);
        bytes += static_cast<std::uint64_t>(length);
    }
    return bytes;
}

}  // namespace

TarReader::TarReader(Decompressor& bytes, const Limits& limits, Place place)
    : framing_(bytes, limits, place), place_(std::move(place)) {}

bool TarReader::next(Entry& entry) {
    passOver();
    if (!framing_.nextHeaders()) {
        return false;
    }
    path_ = framing_.entry().path;
    if (!reader_) {
        open();
    }
    std::optional<Utf8CharacterType> utf8;  // while libarchive converts the texts of pax records
    if (framing_.hasPaxRecords()) {
        utf8.emplace();
    }
    archive_entry* decoded = decoded_.get();
    if (archive_read_next_header2(reader_.get(), decoded) != ARCHIVE_OK) {
        fail(path_);
    }
    describe(decoded, entry);
    compare(decoded, entry);
    sparse_ = entry.sparse;
    size_ = entry.size;
    position_ = 0;
    stored_ = 0;
    mapped_ = mappedBytes(decoded);
    return true;
}

bool TarReader::nextRun(Run& run) {
    const void* data = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    const int result = size_ == 0 ? ARCHIVE_EOF : archive_read_data_block(reader_.get(), &data, &size, &offset);
    if (result == ARCHIVE_EOF) {
        if (!sparse_ && position_ != size_) {
            fail(path_);
        }
        // libarchive keeps no map of one block: everything, or nothing but a hole.
        if (sparse_ && stored_ != mapped_ && (mapped_ != 0 || stored_ != size_)) {
            place_.at(path_).fail(ErrorKind::damaged, "tar-sparse", "sparse map that does not fit what is stored");
        }
        return false;
    }
    if (result != ARCHIVE_OK) {
        fail(path_);
    }
    run = {{static_cast<const char*>(data), size}, static_cast<std::uint64_t>(offset)};
    // guard: sparse runs beyond the size
    if (run.offset < position_ || run.offset > size_ || size > size_ - run.offset) {
        place_.at(path_).fail(ErrorKind::damaged, "tar-sparse",
                              "sparse map out of order or beyond the file's size");
    }
    position_ = run.offset + size;
    stored_ += size;
    return true;
}

la_ssize_t TarReader::giveBytes(archive* a, void* self, const void** buffer) {
    auto& reader = *static_cast<TarReader*>(self);
    try {
        const std::string_view bytes = reader.failure_ ? std::string_view() : reader.framing_.piece();
        *buffer = bytes.data();
        if (!bytes.empty()) {
            return static_cast<la_ssize_t>(bytes.size());
        }
        archive_set_error(a, EINVAL, "more bytes wanted than the entry has");
    } catch (...) {
        reader.failure_ = std::current_exception();
        archive_set_error(a, EIO, "reading failed");
    }
    return ARCHIVE_FATAL;
}

la_int64_t TarReader::skipBytes(archive*, void* self, la_int64_t size) {
    auto& reader = *static_cast<TarReader*>(self);
    try {
        return static_cast<la_int64_t>(reader.framing_.skip(static_cast<std::uint64_t>(size)));
    } catch (...) {
        reader.failure_ = std::current_exception();
        return 0;  // libarchive loops on a negative answer; on this one it reads, and that fails
    }
}

void TarReader::open() {
    reader_.reset(archive_read_new());
    archive* a = reader_.get();
    // An entry of our own: libarchive looks through the null pointer where it has no memory to make one.
    decoded_.reset(a != nullptr ? archive_entry_new2(a) : nullptr);
    if (!decoded_) {
        throw std::bad_alloc();
    }
    if (archive_read_support_format_tar(a) != ARCHIVE_OK ||
        archive_read_set_read_callback(a, giveBytes) != ARCHIVE_OK ||
        archive_read_set_skip_callback(a, skipBytes) != ARCHIVE_OK ||
        archive_read_set_callback_data(a, this) != ARCHIVE_OK || archive_read_open1(a) != ARCHIVE_OK) {
        // Opening looks at the first header. Only a lack of memory may be left without a reason.
        if (!failure_ && archive_errno(a) == 0) {
            throw std::bad_alloc();
        }
        fail({});
    }
}

void TarReader::passOver() {
    if (!reader_) {
        return;
    }
    // A sparse map is judged by following it: who only lists must not be told of what others refuse.
    for (Run run; sparse_ && nextRun(run);) {
    }
    if (archive_read_data_skip(reader_.get()) != ARCHIVE_OK) {
        fail(path_);
    }
    const auto consumed = static_cast<std::uint64_t>(archive_filter_bytes(reader_.get(), 0));
    if (framing_.left() != 0 || framing_.handedOut() != consumed) {
        place_.at(path_).fail(ErrorKind::damaged, "tar-sparse", "sparse map that does not fit what is stored");
    }
}

void TarReader::describe(archive_entry* decoded, Entry& entry) const {
    entry = Entry();
    entry.type = typeOf(framing_.entry());
    entry.path = framing_.entry().path;
    if (entry.type == EntryType::directory && !entry.path.empty() && entry.path.back() != '/') {
        entry.path += '/';
    }
    entry.linkTarget = framing_.entry().link;
    entry.sparse = framing_.sparse();
    entry.mode = framing_.entry().mode;  // libarchive's may come from an access list
    entry.mtime = archive_entry_mtime(decoded);
    // Negative numbers become huge ones, which the policy refuses.
    entry.uid = static_cast<std::uint64_t>(archive_entry_uid(decoded));
    entry.gid = static_cast<std::uint64_t>(archive_entry_gid(decoded));
    entry.owner = textOf(archive_entry_uname(decoded));
    entry.group = textOf(archive_entry_gname(decoded));
    if (entry.type == EntryType::file) {
        entry.size = static_cast<std::uint64_t>(archive_entry_size(decoded));
    }
}

void TarReader::compare(archive_entry* decoded, const Entry& entry) const {
    const TarHeader& header = framing_.entry();
    const EntryType type = typeOf(decoded);
    const char* link =
        type == EntryType::hardlink ? archive_entry_hardlink(decoded) : archive_entry_symlink(decoded);
    // What is neither is taken for a file by some readers, as POSIX asks; it is refused anyhow.
    const bool sameType = type == entry.type || (entry.type == EntryType::other && type == EntryType::file);
    const bool sameSize = entry.sparse || entry.type != EntryType::file || entry.size == header.size;
    if (textOf(archive_entry_pathname(decoded)) != header.path || textOf(link) != header.link || !sameType ||
        !sameSize || archive_entry_size(decoded) < 0) {
        place_.at(header.path)
            .fail(ErrorKind::unsupported, "tar-ambiguous", "headers that readers understand differently");
    }
}

void TarReader::fail(const std::string& path) {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    if (archive_errno(reader_.get()) == ENOMEM) {
        throw std::bad_alloc();
    }
    const std::string_view reason = textOf(archive_error_string(reader_.get()));
    place_.at(path).fail(
        ErrorKind::damaged, "tar-decode",
        "can't be decoded: " + (reason.empty() ? "contents end too early" : escapeForDisplay(reason)));
}

}  // namespace bex::stream
