#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/ExtractOptions.hpp"
#include "bex/stream/Member.hpp"
#include "bex/stream/ReadOptions.hpp"

namespace bex::stream {

/// Reads a package from front to back: structure and control archive when it is opened, then the payload's
/// entries in order, without holding the payload in memory.
///
/// Where readers of this format disagree, this one refuses: two control or two data members, data before
/// control, bytes after the last member, a doubled member name. Members whose name begins with "_", and any
/// behind the data member, are passed over, as deb(5) allows. Entries with ".." or an absolute name, the same
/// path twice (directories excepted), and hard links to anything but an earlier regular file are refused wherever
/// they are met; docs/policy.md has all of it. Checksums and lengths of every compressed block that is read are
/// checked; of contents that are passed over, whole blocks are not read.
///
/// Every failure is a StreamError whose message begins with the package's name. A failure of the package, in
/// next(), read() or extract(), comes again at every further call.
/// Used by one thread at a time; several readers may run in different threads. Movable, not copyable.
class BEX_EXPORT PackageReader {
public:
    /// Opens and reads structure, control archive and control paragraph.
    explicit PackageReader(const std::string& path, const ReadOptions& options = {});

    /// Reads from a descriptor: by offset when it can be (its own position is neither used nor moved), else
    /// forward, once, as from a pipe. `name` stands for it in messages. The descriptor stays the caller's and must
    /// outlive this.
    PackageReader(int descriptor, const std::string& name, const ReadOptions& options = {});

    ~PackageReader();
    PackageReader(PackageReader&&) noexcept;
    PackageReader& operator=(PackageReader&&) noexcept;

    const ControlParagraph& control() const noexcept;
    const std::vector<ControlMember>& controlMembers() const noexcept;

    /// The control member of that name ("postinst"; "./" is not counted), or null.
    const ControlMember* findControlMember(std::string_view name) const noexcept;

    /// The members in order; from a pipe, those that were reached so far.
    const std::vector<Member>& members() const noexcept;

    /// Goes to the next entry of the payload, passing over what is left of the current one, and tells whether
    /// there is one. After the last, everything behind the payload's end has been checked as far as the input
    /// is read at all.
    bool next(Entry& entry);

    /// Reads up to `size` bytes of the current entry's contents; 0 at their end. Holes read as zeros.
    std::size_t read(char* buffer, std::size_t size);

    /// Extracts the entries that are left into the directory, which is made when it does not exist (its parent
    /// must). Works below the opened directory and follows no symlink on the way. Modes and times are restored,
    /// directories' last. What is no directory is replaced, never written through. Devices and FIFOs are refused,
    /// and a hard link to a file that is left out. A refused entry ends the extraction before anything of it is
    /// written; entries before it stay. Behind one that the disk fails, small files may have been made by other
    /// threads, each of them whole; not where onEntry or stripComponents ask for one after the other.
    ExtractResult extract(const std::string& destination, const ExtractOptions& options = {});

    /// Writes the control members as files into the directory, by the same rules.
    ExtractResult extractControl(const std::string& destination, const ExtractOptions& options = {}) const;

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace bex::stream
