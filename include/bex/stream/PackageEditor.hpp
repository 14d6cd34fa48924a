#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/EditOptions.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Export.hpp"
#include "bex/stream/Member.hpp"

namespace bex::stream {

class PackageWriter;

/// Changes a finished package without unpacking it to disk. write() makes the control archive anew and copies
/// everything else byte for byte. repack() compresses both archives anew and changes neither. copyTo() adds
/// everything to a PackageWriter, for changes of the payload.
///
/// What an edit does not name stays as it is: the order of fields and the lines of those that are not changed,
/// control members with their attributes, md5sums and Installed-Size, members that this library does not know.
/// Signatures (members whose name begins with "_gpg") are left out with a note, because they are no longer valid.
/// Nothing depends on the clock: a new control member gets the newest time of the control archive.
///
/// The file is opened once. If it changes before a function below has read it, or is replaced before it would be
/// overwritten, that function throws StreamError (`inputOutput`).
///
/// If verify() reports an error, the functions below throw FindingRefused (Finding.hpp). Every function checks
/// structure and control archive. The payload is checked if it is read, which write() does only for a new conffile
/// and for EditOptions::check. An error that the edit repairs does not count. Something that cannot be read, and
/// an error that the edit introduces, is always refused.
///
/// Used by one thread at a time; several editors may run in different threads. Movable, not copyable.
class BEX_EXPORT PackageEditor {
public:
    /// Opens a regular file and reads structure and control archive. Throws as PackageReader.
    explicit PackageEditor(const std::string& path, const EditOptions& options = {});
    ~PackageEditor();
    PackageEditor(PackageEditor&&) noexcept;
    PackageEditor& operator=(PackageEditor&&) noexcept;

    /// The control paragraph, to be changed by the caller. Throws StreamError (`damaged`) if "control" cannot
    /// be parsed; the member then stays as it is.
    ControlParagraph& control();

    /// The control members as they are now. The member "control" does not show the changes of control().
    const std::vector<ControlMember>& controlMembers() const noexcept;

    /// The members of the package as it was opened.
    const std::vector<Member>& members() const noexcept;

    /// Replaces or adds a maintainer script or another control member, with the attributes that a PackageWriter
    /// gives it. Throws StreamError (`invalidInput`) for a name that is not a plain file name, for "control", for
    /// "md5sums", which belongs to the payload, and for contents that dpkg would refuse.
    void setControlMember(const std::string& name, std::string contents);

    /// Removes a control member; false when there is none. Throws StreamError (`invalidInput`) for "control".
    bool removeControlMember(std::string_view name);

    /// Marks a file of the payload as configuration; one that is marked already stays as it is. write() throws
    /// FindingRefused (`conffile-missing`) for a path that is not a regular file of the payload.
    void addConffile(const std::string& path);

    /// Writes the package with its changes to `path`, which holds its old contents until the new package is
    /// complete, like PackageWriter::write(); a symlink under that name is replaced itself. If `path` leads to the
    /// package itself, the new file gets its permissions and, if the process may set it, its owner; otherwise
    /// those of a new file. Throws StreamError (`invalidInput`) with every fault of the control paragraph that the
    /// changes introduced, and as above.
    EditResult write(const std::string& path) const;

    /// Writes the package, with its changes, compressed anew. The tar archive of the payload stays the same byte
    /// for byte. It is decompressed and compressed in memory, on ReadOptions::threads threads, and is verified
    /// meanwhile. Throws as write() and for options that the compression does not have.
    EditResult repack(const std::string& path, const RepackOptions& options) const;

    /// Adds the payload's entries that `keep` returns true for, all control members and the control paragraph,
    /// with its changes, to a writer. The whole package is verified first. `keep` is called twice for each entry;
    /// unset: all are kept. A hard link whose file is left out becomes that file. Returns the conffiles that are
    /// left out; they are no longer marked. "md5sums" is not copied: write() of the writer makes it. Throws as
    /// PackageWriter::add() and PackageWriter::addControlMember(), too.
    std::vector<std::string> copyTo(PackageWriter& writer,
                                    const std::function<bool(const Entry&)>& keep = nullptr) const;

private:
    friend struct EditorAccess;
    struct State;

    explicit PackageEditor(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

}  // namespace bex::stream
