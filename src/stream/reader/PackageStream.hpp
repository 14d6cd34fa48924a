#pragma once

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "bex/stream/Member.hpp"
#include "bex/stream/ReadOptions.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/reader/EntryReader.hpp"
#include "stream/reader/PackageMembers.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::stream {

/// A package on its way through a reader: structure, then control archive, then payload, each step taken by
/// whoever drives it. PackageReader and verify() are the two that do; they differ in what becomes of a fault.
class PackageStream {
public:
    /// Opens the package at the place. `system` must outlive this.
    PackageStream(const Place& place, const ReadOptions& options, System& system);
    /// The descriptor stays the caller's.
    PackageStream(int descriptor, const Place& place, const ReadOptions& options, System& system);
    PackageStream(const PackageStream&) = delete;
    PackageStream& operator=(const PackageStream&) = delete;

    /// What zlib refuses is refused, as in DecompressionSettings: slower, for who judges a package instead of
    /// using it. Before anything is read.
    void beStrict() noexcept { strict_ = true; }

    const std::string& name() const noexcept { return place_.package(); }
    /// Threads to use, at least one.
    unsigned threads() const { return threadCount(options_.threads); }
    const std::vector<Member>& members() const noexcept { return members_.members(); }

    /// All that can be checked of a seekable file's structure before its contents are read. First, once.
    void checkStructure() { members_.check(); }

    /// The control archive. Once, before next().
    std::vector<ControlMember> readControl();

    /// The next entry of the payload; behind the last, the rest of a pipe has been checked, too. After an
    /// exception every further call throws it again.
    bool next(Entry& entry);

    /// The next bytes of the current entry, as TarReader::nextRun(); counted for the progress callback.
    bool nextRun(EntryReader::Run& run);

    /// Throws StreamError (`refused`) about a hard link of the payload.
    [[noreturn]] void refuseLink(const Entry& entry, const std::string& reason) const {
        place_.in(dataMember_).at(entry.path).fail(ErrorKind::refused, "hardlink-target", reason);
    }

private:
    void openPayload();
    bool goOn(Entry& entry);
    template <typename Step>
    bool guarded(Step step);

    Descriptor owned_;
    ReadOptions options_;
    bool strict_ = false;
    Place place_;
    PackageMembers members_;
    ProgressMeter progress_;
    std::string dataMember_;  // its name
    std::unique_ptr<EntryReader> payload_;
    bool ended_ = false;
    std::exception_ptr failure_;
    std::string entryPath_;
    std::uint64_t entryLeft_ = 0;  // bytes not yet counted for progress
};

}  // namespace bex::stream
