#include "repo/pool/Candidate.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

#include "bex/stream/PackageReader.hpp"
#include "bex/stream/Verify.hpp"
#include "repo/base/Failure.hpp"
#include "repo/files/Digest.hpp"
#include "repo/suite/Layout.hpp"
#include "stream/base/Ascii.hpp"

namespace bex::repo {

namespace {

using stream::Descriptor;
using stream::System;

struct stat statusOf(const Descriptor& file, const std::string& path) {
    struct stat status = {};
    if (System::real().fstat(file.get(), &status) != 0) {
        throw systemFailure(path, "look it up", errno);
    }
    return status;
}

Descriptor openRegular(const std::string& path) {
    System& system = System::real();
    // Not blocking: the open of a FIFO would wait for a writer.
    Descriptor file(system.openat(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0), system);
    if (!file) {
        throw systemFailure(path, "open it", errno);
    }
    if (!S_ISREG(statusOf(file, path).st_mode)) {
        throw failure(ErrorKind::inputOutput, "input-output", path, "is not a regular file");
    }
    return file;
}

void requireNoErrors(const Descriptor& file, const std::string& path, const AddOptions& options) {
    // Warnings do not keep a package out; errors do, unless the caller allowed their code.
    for (const stream::Finding& finding : stream::verify(file.get(), path, options.reading)) {
        const bool isAllowed =
            std::find(options.allow.begin(), options.allow.end(), finding.code) != options.allow.end();
        if (finding.severity == stream::Severity::error && !isAllowed) {
            throw stream::FindingRefused(finding);
        }
    }
}

/// The name of the source package, without the version that may follow in parentheses.
std::string sourceOf(const stream::ControlParagraph& control, const std::string& package) {
    const std::string* source = control.find("Source");
    if (source == nullptr) {
        return package;
    }
    return source->substr(0, source->find_first_of(" ("));
}

/// ".deb", or whatever the file's name ends with; ".deb" for what would be no plain word.
std::string extensionOf(const std::string& path) {
    const std::string extension = path.substr(std::min(path.rfind('.'), path.size()));
    const bool isPlain =
        extension.size() > 1 && stream::consistsOf(std::string_view(extension).substr(1), stream::isAlphanumeric);
    return isPlain ? extension : ".deb";
}

bool isUnchanged(const struct stat& a, const struct stat& b) {
    return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
           a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

Candidate examine(const std::string& path, const std::string& component, const AddOptions& options) {
    // One open file for all that follows: another one that is put under the path meanwhile is not looked at.
    const Descriptor file = openRegular(path);
    const struct stat before = statusOf(file, path);
    // First, so that nothing below reads fields of a package that is refused.
    requireNoErrors(file, path, options);
    Candidate candidate;
    candidate.path = path;
    candidate.component = component;
    const stream::ControlParagraph control = stream::PackageReader(file.get(), path, options.reading).control();
    PackageRecord& record = candidate.record;
    record = recordOf(control, path);
    record.size = static_cast<std::uint64_t>(before.st_size);
    record.digests.sha256 = sha256OfFile(file.get(), path);
    record.filename = poolPath({component, sourceOf(control, record.package), record.package, record.version,
                                record.architecture, extensionOf(path)},
                               path);
    // The record is complete now, filename included.
    checkRecord(record, path);
    if (!isUnchanged(before, statusOf(file, path))) {
        throw failure(ErrorKind::damaged, "changed", path, "changed while it was read");
    }
    return candidate;
}

}  // namespace bex::repo
