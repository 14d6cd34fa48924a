#include "stream/reader/PackageStream.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include "stream/base/Place.hpp"
#include "stream/reader/ControlArchive.hpp"

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

PackageStream::PackageStream(const Place& place, const ReadOptions& options, System& system)
    : owned_(openForReading(place.package(), system)),
      options_(options),
      place_(place),
      members_(owned_.get(), name(), system, place_),
      progress_(options_.progress) {}

PackageStream::PackageStream(int descriptor, const Place& place, const ReadOptions& options, System& system)
    : options_(options),
      place_(place),
      members_(descriptor, name(), system, place_),
      progress_(options_.progress) {}

std::vector<ControlMember> PackageStream::readControl() {
    const Member member = members_.open(MemberRole::control);
    const Place place = place_.in(member.name);
    EntryReaderSettings settings;
    settings.limits = options_.limits;
    settings.strict = strict_;
    settings.bytesLimit = {options_.limits.controlBytes, "controlBytes",
                           "the limits controlBytes and md5sumsBytes"};
    EntryReader entries(members_.contents(), member.compression, settings, place);
    return readControlArchive(entries, options_.limits, place);
}

void PackageStream::openPayload() {
    const Member member = members_.open(MemberRole::data);
    dataMember_ = member.name;
    EntryReaderSettings settings;
    settings.limits = options_.limits;
    settings.strict = strict_;
    settings.threads = options_.threads;
    settings.bytesLimit = {payloadLimit(options_.limits, member.size), "expansionRatio",
                           "the limits expansionRatio and expansionFreeBytes"};
    payload_ =
        std::make_unique<EntryReader>(members_.contents(), member.compression, settings, place_.in(member.name));
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
                       ? std::make_exception_ptr(place_.error(failure.kind(), failure.code(), "cancelled"))
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
