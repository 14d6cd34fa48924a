#include "repo/pool/Pool.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "repo/base/Failure.hpp"
#include "repo/files/Digest.hpp"
#include "repo/files/Directory.hpp"
#include "stream/system/AtomicFile.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::repo {

namespace {

stream::Descriptor openFile(const std::string& path, System& system) {
    stream::Descriptor file(system.openat(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0), system);
    if (!file) {
        throw systemFailure(path, "open it", errno);
    }
    return file;
}

StreamError changed(const std::string& path) {
    return failure(ErrorKind::damaged, "changed", path, "changed while it was added");
}

}  // namespace

void failConflict(const Candidate& candidate, const std::string& place, const std::string& sha256) {
    throw failure(ErrorKind::invalidInput, "pool-conflict", candidate.path,
                  "has the SHA-256 " + candidate.record.digests.sha256 + ", but " +
                      stream::escapeForDisplay(place) + " has " + sha256 +
                      ": the same package with other contents needs another version");
}

PoolAddition::~PoolAddition() {
    for (const std::string& path : made_) {
        system_.unlinkat(AT_FDCWD, path.c_str(), 0);  // What can't be removed stays: nothing lists it.
    }
}

void PoolAddition::copy(const Candidate& candidate, const std::string& target) {
    const stream::Descriptor source = openFile(candidate.path, system_);
    stream::AtomicFile file(target, system_);
    file.copy(source.get(), candidate.path, 0, candidate.record.size);
    // The digest of the copy and not of the source: the source may have changed since it was examined.
    if (sha256OfFile(file.descriptor(), candidate.path) != candidate.record.digests.sha256) {
        throw changed(candidate.path);
    }
    // The name appears only now; a copy that fails leaves nothing in the pool.
    file.commit();
    made_.push_back(target);
}

bool PoolAddition::link(const Candidate& candidate, const std::string& target) {
    if (system_.linkat(AT_FDCWD, candidate.path.c_str(), AT_FDCWD, target.c_str(), AT_SYMLINK_FOLLOW) != 0) {
        return false;  // Whatever the reason is: a copy does as well, or has a better one.
    }
    // Before the check below, so that a link to other bytes is removed again.
    made_.push_back(target);
    const stream::Descriptor file = openFile(target, system_);
    if (sha256OfFile(file.get(), target) != candidate.record.digests.sha256) {
        throw changed(candidate.path);
    }
    // The file was written by another program, which need not have synced it.
    if (system_.fsync(file.get()) != 0) {
        throw systemFailure(target, "sync it", errno);
    }
    syncDirectory(stream::directoryOf(target), system_);
    return true;
}

void PoolAddition::put(const Candidate& candidate, Placement placement) {
    const std::string target = layout_.below(candidate.record.filename);
    // A package that is added from the pool itself stays there.
    const bool isInPlace = isSameFile(candidate.path, target);
    // A file of the pool is never replaced: clients may be fetching it, and indexes name its digest.
    if (sizeOfFile(target)) {
        const std::string there = sha256OfFile(openFile(target, system_).get(), target);
        if (there != candidate.record.digests.sha256) {
            failConflict(candidate, candidate.record.filename, there);
        }
    } else {
        makeDirectories(stream::directoryOf(target), system_);
        // The lock is held, so that these are of processes that were killed.
        removeTemporaries(stream::directoryOf(target), system_);
        if (placement == Placement::copy || !link(candidate, target)) {
            copy(candidate, target);
        }
    }
    // Not removed yet: until the list of changes is written, the command may still fail.
    if (placement == Placement::move && !isInPlace) {
        moved_.push_back(candidate.path);
    }
}

void PoolAddition::keep() {
    made_.clear();
    for (const std::string& path : moved_) {
        removeFile(path, system_);
    }
}

}  // namespace bex::repo
