#include "repo/files/Lock.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "repo/base/Failure.hpp"

namespace bex::repo {

Lock::Lock(const std::string& root) {
    stream::System& system = stream::System::real();
    const std::string path = root + "/.bex/lock";
    constexpr mode_t mode = 0666;  // less what the umask takes
    file_ = stream::Descriptor(system.openat(AT_FDCWD, path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, mode), system);
    if (!file_ && errno == ENOENT) {
        throw failure(ErrorKind::inputOutput, "input-output", root,
                      "is not a repository; bex repo init makes one");
    }
    int locked = -1;
    while (file_ && (locked = flock(file_.get(), LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (locked != 0) {
        throw systemFailure(path, "lock it", errno);
    }
}

}  // namespace bex::repo
