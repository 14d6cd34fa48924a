#include "stream/edit/SourcePackage.hpp"

#include <fcntl.h>

#include "stream/base/Place.hpp"

namespace bex::stream {

SourcePackage::SourcePackage(const std::string& path, const EditOptions& options, System& system)
    : path_(path),
      options_(options),
      system_(system),
      allowance_(options.allow),
      file_(openForReading(path, system)) {
    // Members are read at their offsets, several times.
    requireRegularFile(file_, path, system);
    // Before anything is read: requireUnchanged() compares with this state.
    status_ = statusOf(file_, path, system);
    // By a stream of its own, which is dropped. Later readings begin anew on the same descriptor.
    const std::unique_ptr<PackageStream> stream = read();
    members_ = stream->members();
    // Both are there: the structure was checked.
    control_ = *stream->member(MemberRole::control);
    data_ = *stream->member(MemberRole::data);
}

std::unique_ptr<PackageStream> SourcePackage::read() const {
    return read(file_.number, path_, false);
}

std::unique_ptr<PackageStream> SourcePackage::read(int descriptor, const std::string& name, bool strict) const {
    // The descriptor without an owner: this keeps it open for all streams.
    auto stream = std::make_unique<PackageStream>(openInput(OpenFile{descriptor, {}}, name, system_),
                                                  Place(name, allowance_), options_);
    if (strict) {
        stream->beStrict();
    }
    // Always, so that no caller sees members of a package whose structure is broken.
    stream->checkStructure();
    return stream;
}

Place SourcePackage::place(const std::string& package, const Member& member) const {
    return Place(package, allowance_).in(member.name);
}

bool SourcePackage::isAt(const std::string& path) const {
    struct stat found = {};
    // Device and inode, not the path's text: hard links and symlinks lead to the same file.
    return system_.fstatat(AT_FDCWD, path.c_str(), &found, 0) == 0 && areOfSameFile(found, status_);
}

void SourcePackage::requireUnchanged() const {
    const struct stat now = statusOf(file_, path_, system_);
    // The change time as well: a time can be set back.
    const bool same = now.st_size == status_.st_size && areSameTime(now.st_mtim, status_.st_mtim) &&
                      areSameTime(now.st_ctim, status_.st_ctim);
    if (!same) {  // guard: packages that change while they are edited
        Place(path_).fail(ErrorKind::inputOutput, "changed while it was read");
    }
}

}  // namespace bex::stream
