#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "stream/base/Place.hpp"
#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// Whether the path is relative and has no component that could lead elsewhere than its text says: none that is
/// empty, "." or "..", and no NUL. "" is the destination itself.
bool isPlainPath(std::string_view path) noexcept;

/// The path without its last component: "" for one that has only one.
std::string_view parentOf(std::string_view path) noexcept;

/// The last component of a path, which lives as long as the path.
const char* nameOf(const std::string& path) noexcept;

/// A directory that something is made in. It stays open as long as somebody holds it.
struct HeldDirectory {
    int descriptor = -1;
    std::shared_ptr<const Descriptor> owner;  ///< null for the root, which its opener keeps open
};

/// Opens directories below an opened one and follows no symlink. The last one stays open, so that entries that
/// come directory by directory cost no walk; two descriptors at most are open at a time.
class DirectoryWalk {
public:
    enum class Missing { refuse, make };

    /// `root` is an open directory. `whose` says in messages whose directories they are, such as "its". All must
    /// outlive this.
    DirectoryWalk(System& system, int root, const char* whose) : system_(system), root_(root), whose_(whose) {}

    /// A descriptor (O_PATH) of the directory with this plain path. It belongs to this and is valid until the next
    /// call. Missing directories are made, with mode 0755 less the umask, where that is asked. Throws StreamError:
    /// `refused` where a component is a symlink, otherwise no directory, or missing and not to be made. The path
    /// may be longer than PATH_MAX; the time is that of one system call, where the kernel has openat2, for each 4
    /// KiB of it.
    int open(std::string_view path, Missing missing, const Place& place);

    /// The same, for as long as it is held.
    HeldDirectory hold(std::string_view path, Missing missing, const Place& place);

private:
    Descriptor walk(std::string_view path, Missing missing, const Place& place) const;
    Descriptor walkSlowly(int from, std::string_view piece, Missing missing, const Place& place) const;
    Descriptor step(int from, const std::string& name, Missing missing, const Place& place) const;
    void make(int from, const std::string& name, const Place& place) const;
    std::string describe(const std::string& name) const;
    [[noreturn]] void explain(int from, const std::string& name, int errorNumber, const Place& place) const;

    System& system_;
    const int root_;
    const char* const whose_;
    std::string lastPath_;
    std::shared_ptr<const Descriptor> last_;
};

}  // namespace bex::stream
