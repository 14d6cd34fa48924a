#include "stream/extract/PendingFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "stream/system/TemporaryFile.hpp"

namespace bex::stream {

PendingFile::PendingFile(const ExtractContext& context, int directory, const char* name,
                         const std::function<bool(const char* name)>& make)
    : context_(context), directory_(directory), name_(name) {
    // The name itself first: where nothing is in the way no rename is needed. `make` must not replace what exists.
    if (make(name)) {
        return;
    }
    if (errno == EEXIST && context.existing == Existing::keep) {
        kept_ = true;
        return;
    }
    if (errno == EEXIST) {
        requireReplaceable();
        // Beside the target and in the same directory, so that rename(2) replaces it in one step.
        temporary_ = makeTemporary(make);
    }
    // With the errno of the call that failed last.
    if (temporary_.empty()) {
        context_.place.failSystem("create", errno);
    }
}

PendingFile::~PendingFile() {
    // Also after a failure of settle(): the name still leads to what this made.
    if (!settled_ && !kept_) {  // guard: a temporary file goes when its entry fails
        context_.system.unlinkat(directory_, current(), 0);
    }
}

void PendingFile::settle() {
    if (!temporary_.empty() &&
        context_.system.renameat(directory_, temporary_.c_str(), directory_, name_.c_str()) != 0) {
        context_.place.failSystem("replace", errno);
    }
    // Only after the rename: until then the temporary name has to be removed.
    settled_ = true;
}

void PendingFile::requireReplaceable() const {
    if (context_.existing == Existing::error) {
        context_.place.failSystem("create", EEXIST);
    }
    struct stat status = {};
    // What has vanished meanwhile is not in the way.
    if (context_.system.fstatat(directory_, name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT) {
        context_.place.failSystem("replace", errno);
    }
    if (S_ISDIR(status.st_mode)) {
        context_.place.failSystem("replace", EISDIR);
    }
}

}  // namespace bex::stream
