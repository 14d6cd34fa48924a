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
/// Refuses what readers of this format read differently: two control or two data members, data before control,
/// bytes after the last member, a doubled member name. Skips members whose name begins with "_", and any after the
/// data member, as deb(5) allows. Refuses entries with ".." or an absolute name, the same path twice (directories
/// excepted), and hard links to anything but an earlier regular file, in every function; docs/policy.md has all
/// rules. Checks the checksum and length of every compressed block that is read. Blocks that lie wholly inside
/// skipped contents are not read, and so not checked.
///
/// Compares the index that a payload may end with (IndexedPackage) with all that was read, and refuses one that
/// differs when the last entry has been read. Nothing else is believed of it.
///
/// Every failure is a StreamError whose message begins with the package's name. A failure of the package, in
/// next(), read() or extract(), comes again at every further call.
/// Used by one thread at a time; several readers may run in different threads. Movable, not copyable.
class BEX_EXPORT PackageReader {
public:
    /// Opens the file and reads structure and control archive. A regular file is read by offset, anything else,
    /// such as a FIFO, forward and once.
    explicit PackageReader(const std::string& path, const ReadOptions& options = {});

    /// Reads from a descriptor: a regular file by offset (the descriptor's own position is neither used nor
    /// moved), anything else forward and once, as from a pipe. Messages call it `name`. The descriptor
    /// stays the caller's and must outlive this.
    PackageReader(int descriptor, const std::string& name, const ReadOptions& options = {});

    /// Reads a package that is all of the source. Messages call it `name`.
    PackageReader(std::shared_ptr<Source> source, const std::string& name, const ReadOptions& options = {});

    /// Reads a package that is all of the source, forward and once, as from a pipe. Messages call it `name`.
    PackageReader(std::unique_ptr<ForwardSource> source, const std::string& name, const ReadOptions& options = {});

    ~PackageReader();
    PackageReader(PackageReader&&) noexcept;
    PackageReader& operator=(PackageReader&&) noexcept;

    /// The control paragraph. Throws StreamError (`damaged`) where "control" cannot be parsed; the payload can be
    /// read all the same.
    const ControlParagraph& control() const;
    const std::vector<ControlMember>& controlMembers() const noexcept;

    /// The control member of that name ("postinst", without "./"), or null.
    const ControlMember* findControlMember(std::string_view name) const noexcept;

    /// The members in order; from a pipe, those that were reached so far.
    const std::vector<Member>& members() const noexcept;

    /// Bytes of the package that are the index of its payload, which IndexedPackage reads; nothing where it has
    /// none or where it comes from a pipe. Reads the end of the data member. Call before next() or after the last
    /// entry. Throws StreamError.
    std::optional<std::uint64_t> indexBytes() const;

    /// Goes to the next entry of the payload, skipping what is left of the current one. When it returns false, the
    /// end of the payload and the rest of the input have been checked.
    bool next(Entry& entry);

    /// Reads up to `size` bytes of the current entry's contents; 0 at their end. Throws StreamError
    /// (`invalidInput`) before the first next().
    std::size_t read(char* buffer, std::size_t size);

    /// Extracts the entries that are left into the directory, which is created if it does not exist (its parent
    /// must). Works below the opened directory and follows no symlink on the way. Restores modes and times,
    /// directories' last. Writes through nothing that exists: a file or link is replaced, or treated as
    /// ExtractOptions::existing says. Refuses devices and FIFOs, and a hard link to a file that is not extracted.
    /// A refused entry ends the extraction before anything of it is written; entries before it stay. If writing an
    /// entry fails, some later small files may exist already, complete, because threads write them. With onEntry,
    /// rename, stripComponents or Existing::keep, entries are written strictly in order.
    ExtractResult extract(const std::string& destination, const ExtractOptions& options = {});

    /// Writes the control members as files into the directory, by the same rules.
    ExtractResult extractControl(const std::string& destination, const ExtractOptions& options = {}) const;

    /// Writes the control archive as an uncompressed tar archive, byte for byte as it is stored. Call before
    /// next() or after the last entry. Throws StreamError (`invalidInput`) for a package in a pipe, whose control
    /// archive has been read already, and what the sink throws.
    void copyControlTar(Sink& out);

    /// Writes the payload as an uncompressed tar archive, byte for byte as it is stored. Checks its compression,
    /// the rest of the input and the index, if there is one; but no entry: the program that unpacks it must check
    /// them. An index that differs is refused once all bytes have been written. No entry is left after it.
    /// Throws StreamError (`invalidInput`) after next(), and what the sink throws.
    void copyPayloadTar(Sink& out);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace bex::stream
