#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Member.hpp"
#include "bex/stream/ReadOptions.hpp"
#include "bex/stream/Sink.hpp"
#include "stream/base/FirstFailure.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/codec/KeptBytes.hpp"
#include "stream/reader/EntryReader.hpp"
#include "stream/reader/PackageMembers.hpp"

namespace bex::stream {

/// How many bytes may come out of a data member of that size.
std::uint64_t payloadLimit(const Limits& limits, std::uint64_t memberBytes);

/// Reads a package from front to back: structure, then control archive, then payload. PackageReader and verify()
/// call these steps; they differ in what they do with an error.
class PackageStream {
public:
    PackageStream(OpenInput input, const Place& place, const ReadOptions& options);
    PackageStream(const PackageStream&) = delete;
    PackageStream& operator=(const PackageStream&) = delete;

    /// Refuses what zlib refuses, as DecompressionSettings::strict does. Slower; for checking a package rather
    /// than using it. Call before anything is read.
    void beStrict() noexcept { strict_ = true; }

    const std::string& name() const noexcept { return place_.package(); }
    /// Threads to use, at least one.
    unsigned threads() const { return threadCount(options_.threads); }
    const std::vector<Member>& members() const noexcept { return members_.members(); }

    /// As PackageMembers::find().
    const Member* member(MemberRole role) const noexcept { return members_.find(role); }
    /// Bytes of the package that are the payload's index, as its footer says; nothing where it has none, or where
    /// the package comes from a pipe. Reads the end of the data member. Call before next() or after the last
    /// entry.
    std::optional<std::uint64_t> indexBytes();

    /// Checks all of the structure that can be checked before contents are read. Call first, once.
    /// `controlFollows`: whether readControl() is called next, as a rule.
    void checkStructure(bool controlFollows = true) { members_.check(controlFollows); }

    /// Reads the control archive, or its entries up to the file "control". Call once, before next().
    std::vector<ControlMember> readControl(bool controlFileOnly = false);

    /// The entry of the control archive's root, "./", where it has one. Call after readControl().
    const std::optional<Entry>& controlRoot() const noexcept { return controlRoot_; }

    /// Hands every byte of the payload's tar archive to the sink as well, which must outlive the reading. Call
    /// before next().
    void copyPayloadTo(Sink& copy) noexcept { payloadCopy_ = &copy; }

    /// Takes the paragraph's Installed-Size for the total of the progress.
    void expect(const ControlParagraph& control);

    /// Goes to the next entry of the payload. When it returns false, the rest of a pipe has been checked, too.
    /// After an exception every further call throws it again.
    bool next(Entry& entry);

    /// Whether next() was called.
    bool begun() const noexcept { return payload_ != nullptr || ended_; }

    /// Writes the bytes of the control archive, unpacked. Throws StreamError (`invalidInput`) in a pipe.
    void copyControl(Sink& out);
    /// Writes the bytes of the payload's tar archive, unpacked, and goes to its end. Throws StreamError
    /// (`invalidInput`) after next().
    void copyPayload(Sink& out);

    /// The current entry's path in plainPath() form.
    const std::string& path() const noexcept { return payload_->path(); }
    /// As EntryPolicy::lacksParent().
    bool lacksParent() const noexcept { return payload_->lacksParent(); }

    /// As TarReader::extent(), for the current entry.
    const TarExtent& extent() const noexcept { return payload_->extent(); }

    /// The next bytes of the current entry, as TarReader::read(); counted for the progress callback.
    std::string_view read();
    /// The same, for another thread, where the bytes can be kept.
    Piece readToKeep();

    /// Throws StreamError (`refused`) about a hard link of the payload.
    [[noreturn]] void refuseLink(const Entry& entry, const std::string& reason) const {
        place_.in(dataMember_).at(entry.path).fail(ErrorKind::refused, "hardlink-target", reason);
    }

private:
    EntryReaderSettings controlSettings() const;
    EntryReaderSettings payloadSettings(const Member& member) const;
    void openPayload();
    void finish();
    bool goOn(Entry& entry);
    template <typename Step>
    auto guarded(Step step);

    ReadOptions options_;
    bool strict_ = false;
    Place place_;
    PackageMembers members_;
    ProgressMeter progress_;
    std::optional<Entry> controlRoot_;
    Sink* payloadCopy_ = nullptr;
    std::string dataMember_;  // its name
    std::unique_ptr<EntryReader> payload_;
    bool ended_ = false;
    FirstFailure failure_;  // so that nobody takes a half-read package for a short one
    std::string entryPath_;
    std::uint64_t entryLeft_ = 0;  // bytes not yet counted for progress
};

}  // namespace bex::stream
