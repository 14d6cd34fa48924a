#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/ExtractOptions.hpp"
#include "bex/stream/Member.hpp"
#include "bex/stream/ReadOptions.hpp"
#include "bex/stream/Source.hpp"

namespace bex::stream {

/// An entry as the index of a package describes it.
struct IndexedEntry {
    Entry entry;
    std::uint64_t position = 0;  ///< of its headers in the payload's tar archive, in bytes
};

/// The contents of one file of an IndexedPackage, read from any position. Keeps the parts of the package alive
/// that it needs. Used by one thread at a time; several streams may be used by several threads. Copies have a
/// position of their own.
class BEX_EXPORT EntryStream {
public:
    ~EntryStream();
    EntryStream(const EntryStream&);
    EntryStream(EntryStream&&) noexcept;
    EntryStream& operator=(const EntryStream&);
    EntryStream& operator=(EntryStream&&) noexcept;

    /// The file: for a hard link, the entry that holds the contents.
    const Entry& entry() const noexcept;
    std::uint64_t size() const noexcept;
    std::uint64_t position() const noexcept;

    /// Sets the position in the contents; read() from size() on returns 0. Reads nothing itself.
    void seek(std::uint64_t position) noexcept;

    /// Reads up to `size` bytes and returns their number, which is 0 only if `size` is 0 or at the end. Unpacks
    /// the blocks that contain them. Throws StreamError.
    std::size_t read(char* buffer, std::size_t size);

private:
    friend class IndexedPackage;
    struct State;

    explicit EntryStream(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

/// A package whose payload ends with an index (WriteOptions::index), so that its entries are known, and any file
/// can be read, without reading the payload. Opening reads the headers of all members and the index.
/// Reading a file unpacks the blocks of 1 MiB that contain it. The control archive is read at the first call of
/// control() or controlMembers(); without such a call a damaged one is not noticed.
///
/// The source is told what will be read (Source::willRead()): the end of the package, the blocks of all entries
/// that are extracted, and those of a file that is read on.
///
/// The index is a statement of the package about itself, so use it only for trusted packages: PackageReader lists
/// and extracts what dpkg installs, but an index may list something else. Before a file is read or an entry is
/// extracted, the tar header at its position must agree with the index, and the length and checksum of the block
/// must be right. Extraction follows the rules of PackageReader. SECURITY.md says what remains possible.
/// verify() and PackageReader compare the index with the payload when they read to its end.
///
/// Every failure is a StreamError whose message begins with the package's name: `damaged` (`index-mismatch`) for
/// an index or a position that does not agree with the index, `unsupported` for a package without an index
/// (`index-missing`) or with one of another version (`index-version`), `limitExceeded` for Limits::entries,
/// nameBytes, indexBytes and those of the control archive.
///
/// All functions but assignment may be called by several threads at once. Memory: the index as stored, some 10
/// bytes for each entry, and up to four groups of 4096 entries and four blocks, unpacked. Movable, not copyable.
class BEX_EXPORT IndexedPackage {
public:
    /// Opens a regular file.
    explicit IndexedPackage(const std::string& path, const ReadOptions& options = {});
    /// Reads a package that is the whole source. Messages call it `name`.
    IndexedPackage(std::shared_ptr<Source> source, const std::string& name, const ReadOptions& options = {});
    ~IndexedPackage();
    IndexedPackage(IndexedPackage&&) noexcept;
    IndexedPackage& operator=(IndexedPackage&&) noexcept;

    /// As for PackageReader; throw StreamError if the control archive cannot be read.
    const ControlParagraph& control() const;
    const std::vector<ControlMember>& controlMembers() const;
    const std::vector<Member>& members() const noexcept;

    /// Number of entries.
    std::size_t size() const noexcept;
    /// The size of the index in bytes.
    std::uint64_t indexBytes() const noexcept;

    /// The entry with this number, less than size(), in the order of the package. Neighbours are unpacked
    /// together, so reading all entries in order unpacks each of them once.
    IndexedEntry at(std::size_t number) const;

    /// The number of the first entry whose path, in plainPath() form, is `plain`. Takes logarithmic time; in a
    /// package whose paths are not sorted, the first call takes linear time and 16 bytes of memory for each entry.
    std::optional<std::size_t> find(std::string_view plain) const;

    /// The contents of a regular file or, for a hard link, of its target. Throws StreamError
    /// (`invalidInput`) for an entry without contents.
    EntryStream open(std::size_t number) const;

    /// Extracts the entries that `options.select` returns true for, as PackageReader::extract() does. Reads only
    /// the blocks that contain these.
    ExtractResult extract(const std::string& destination, const ExtractOptions& options = {}) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace bex::stream
