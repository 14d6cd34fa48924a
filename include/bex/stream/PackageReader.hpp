#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/ExtractOptions.hpp"
#include "bex/stream/ForwardSource.hpp"
#include "bex/stream/Member.hpp"
#include "bex/stream/ReadOptions.hpp"
#include "bex/stream/Sink.hpp"
#include "bex/stream/Source.hpp"

namespace bex::stream {

/// Reads a package from front to back: structure and control archive when it is opened, then the payload's
/// entries in order, without holding the payload in memory.
///
/// Refuses packages that readers of this format read differently: two control or two data members, data before
/// control, bytes after the last member, a doubled member name. Skips members whose name begins with "_", and any
/// after the data member, as deb(5) allows. Every function refuses entries with ".." or an absolute name, the same
/// path twice (except for directories), and hard links to anything but an earlier regular file. docs/policy.md has
/// all rules. Checks the checksum and length of every compressed block that is read. Blocks that lie wholly inside
/// skipped contents are not read, and so not checked.
///
/// A payload may end with an index (IndexedPackage). After the last entry it is compared with everything that was
/// read, and refused if it differs. It is used for nothing else.
///
/// Every failure is a StreamError whose message begins with the package's name. After an error of the package in
/// next(), read() or extract(), every further call throws it again.
/// Used by one thread at a time; several readers may run in different threads. Movable, not copyable.
class BEX_EXPORT PackageReader {
public:
    /// Opens the file and reads structure and control archive. A regular file is read by offset; anything else,
    /// such as a FIFO, is read forward and once.
    explicit PackageReader(const std::string& path, const ReadOptions& options = {});

    /// Reads from a descriptor: a regular file by offset (the descriptor's own position is neither used nor
    /// moved), anything else forward and once, as from a pipe. Messages call it `name`. The descriptor
    /// stays the caller's and must outlive this.
    PackageReader(int descriptor, const std::string& name, const ReadOptions& options = {});

    /// Reads a package that is the whole source. Messages call it `name`.
    PackageReader(std::shared_ptr<Source> source, const std::string& name, const ReadOptions& options = {});

    /// Reads a package that is the whole source, forward and once, as from a pipe. Messages call it `name`.
    PackageReader(std::unique_ptr<ForwardSource> source, const std::string& name, const ReadOptions& options = {});

    ~PackageReader();
    PackageReader(PackageReader&&) noexcept;
    PackageReader& operator=(PackageReader&&) noexcept;

    /// The control paragraph. Throws StreamError (`damaged`) if "control" cannot be parsed; the payload can still
    /// be read.
    const ControlParagraph& control() const;
    const std::vector<ControlMember>& controlMembers() const noexcept;

    /// The control member of that name ("postinst", without "./"), or null.
    const ControlMember* findControlMember(std::string_view name) const noexcept;

    /// The members in order; from a pipe, those that have been reached.
    const std::vector<Member>& members() const noexcept;

    /// The size in bytes of the index of the payload, which IndexedPackage reads; nothing if there is no index or
    /// the package comes from a pipe. Reads the end of the data member. Call before next() or after the last
    /// entry. Throws StreamError.
    std::optional<std::uint64_t> indexBytes() const;

    /// Goes to the next entry of the payload, skipping what is left of the current one. When it returns false, the
    /// end of the payload and the rest of the input have been checked.
    bool next(Entry& entry);

    /// Reads up to `size` bytes of the current entry's contents; 0 at their end. Throws StreamError
    /// (`invalidInput`) before the first next().
    std::size_t read(char* buffer, std::size_t size);

    /// Extracts the remaining entries into the directory, which is created if it does not exist (its parent
    /// must). Works below the opened directory and follows no symlink on the way. Restores modes and times,
    /// directories' last. Never writes through an existing file or link: it is replaced, or treated as
    /// ExtractOptions::existing says. Refuses devices and FIFOs, and a hard link to a file that is not extracted.
    /// A refused entry ends the extraction before anything of it is written; entries before it stay. If writing an
    /// entry fails, some later ones may exist already, complete, because threads write them. With onEntry, rename,
    /// stripComponents or Existing::keep, entries are written strictly in order.
    ExtractResult extract(const std::string& destination, const ExtractOptions& options = {});

    /// Writes the control members as files into the directory, by the same rules.
    ExtractResult extractControl(const std::string& destination, const ExtractOptions& options = {}) const;

    /// Writes the control archive as an uncompressed tar archive, byte for byte as it is stored. Call before
    /// next() or after the last entry. Throws StreamError (`invalidInput`) for a package in a pipe, whose control
    /// archive has been read already, and what the sink throws.
    void copyControlTar(Sink& out);

    /// Writes the payload as an uncompressed tar archive, byte for byte as it is stored. Checks its compression,
    /// the rest of the input and the index, if there is one. Does not check the entries: the program that unpacks
    /// them must. An index that differs is refused after all bytes have been written. No entry is left afterwards.
    /// Throws StreamError (`invalidInput`) after next(), and what the sink throws.
    void copyPayloadTar(Sink& out);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace bex::stream
