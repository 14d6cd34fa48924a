#include "stream/reader/PackageStream.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include "stream/reader/ControlArchive.hpp"
#include "stream/system/Failure.hpp"

namespace bex::stream {
namespace {

Descriptor openForReading(const std::string& path, System& system) {
    Descriptor descriptor(system.openat(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY, 0), system);
    if (!descriptor) {
        throw systemFailure(path, "open", errno);
    }
    return descriptor;
}

/// How much may come out of a data member of that size.
std::uint64_t payloadLimit(const Limits& limits, std::uint64_t memberBytes) {
    const std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    const bool overflows = limits.expansionRatio != 0 && memberBytes > most / limits.expansionRatio;
    return std::max(limits.expansionFreeBytes, overflows ? most : memberBytes * limits.expansionRatio);
}

}  // namespace

PackageStream::PackageStream(const std::string& path, const ReadOptions& options, System& system,
                             FaultHandler& handler)
    : owned_(openForReading(path, system)),
      name_(path),
      options_(options),
      faults_(name_, handler),
      members_(owned_.get(), name_, system, faults_),
      progress_(options_.progress) {}

PackageStream::PackageStream(int descriptor, const std::string& name, const ReadOptions& options, System& system,
                             FaultHandler& handler)
    : name_(name),
      options_(options),
      faults_(name_, handler),
      members_(descriptor, name_, system, faults_),
      progress_(options_.progress) {}

std::vector<ControlMember> PackageStream::readControl() {
    const Member member = members_.open(MemberRole::control);
    const Faults faults = faults_.in(member.name);
    EntryReaderSettings settings;
    settings.limits = options_.limits;
    settings.strict = strict_;
    settings.bytesLimit = options_.limits.controlBytes;
    settings.limitName = "the limits controlBytes and md5sumsBytes";
    EntryReader entries(members_.contents(), member.compression, settings, faults);
    return readControlArchive(entries, options_.limits, faults);
}

void PackageStream::openPayload() {
    const Member member = members_.open(MemberRole::data);
    dataMember_ = member.name;
    EntryReaderSettings settings;
    settings.limits = options_.limits;
    settings.strict = strict_;
    settings.threads = options_.threads;
    settings.bytesLimit = payloadLimit(options_.limits, member.size);
    settings.limitName = "the limits expansionRatio and expansionFreeBytes";
    payload_ =
        std::make_unique<EntryReader>(members_.contents(), member.compression, settings, faults_.in(member.name));
}

bool PackageStream::next(Entry& entry) {
    return guarded([&] { return goOn(entry); });
}

/// Keeps the exception that a step ends with, for every call after it.
template <typename Step>
bool PackageStream::guarded(Step step) {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    try {
        return step();
    } catch (const StreamError& failure) {
        failure_ = failure.kind() == ErrorKind::cancelled
                       ? std::make_exception_ptr(StreamError(failure.kind(), faults_.place() + ": cancelled"))
                       : std::current_exception();
    } catch (...) {
        failure_ = std::current_exception();
    }
    std::rethrow_exception(failure_);
}

bool PackageStream::goOn(Entry& entry) {
    if (ended_) {
        return false;
    }
    progress_.add(std::exchange(entryLeft_, 0), entryPath_);
    if (!payload_) {
        openPayload();
    }
    if (payload_->next(entry)) {
        entryPath_ = entry.path;
        entryLeft_ = entry.size;
        return true;
    }
    payload_.reset();  // its threads may read the source
    ended_ = true;
    members_.finish();
    progress_.finish();
    return false;
}

bool PackageStream::nextRun(EntryReader::Run& run) {
    return guarded([&] {
        if (!payload_ || !payload_->nextRun(run)) {
            return false;
        }
        const std::uint64_t count = std::min<std::uint64_t>(run.bytes.size(), entryLeft_);
        entryLeft_ -= count;
        progress_.add(count, entryPath_);
        return true;
    });
}

}  // namespace bex::stream
