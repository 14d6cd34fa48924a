#include "stream/writer/PackageBuild.hpp"

#include <future>
#include <limits>
#include <string_view>
#include <utility>

#include "stream/ar/ArFormat.hpp"
#include "stream/ar/ArWriter.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/control/Conffiles.hpp"
#include "stream/control/FieldChecks.hpp"
#include "stream/control/MemberOddities.hpp"
#include "stream/reader/PackageStream.hpp"
#include "stream/system/AtomicFile.hpp"
#include "stream/writer/Comparison.hpp"
#include "stream/writer/ContentStore.hpp"
#include "stream/writer/ControlArchiveWriter.hpp"
#include "stream/writer/FileReader.hpp"
#include "stream/writer/Notes.hpp"
#include "stream/writer/PayloadWriter.hpp"
#include "stream/writer/Spool.hpp"

namespace bex::stream {

namespace {

/// Throws with all faults of the control paragraph.
const Collection& requireSoundControl(const Collection& collection) {
    std::string faults;
    // All faults at once: who repairs a control file wants to see them together.
    for (const std::string& fault : collection.control.faults()) {
        appendPart(faults, "\n", "control: " + fault);
    }
    // An error code of its own for what is missing; the text names everything.
    if (!missingFieldsOf(collection.control).empty()) {
        Place("").fail(ErrorKind::invalidInput, "field-missing", faults);
    }
    if (!faults.empty()) {
        Place("").fail(ErrorKind::invalidInput, "field", faults);
    }
    return collection;
}

/// How often the contents are read.
unsigned passesOf(const WriteOptions& options) {
    if (options.check) {
        return 2;
    }
    return 1;
}

/// How to make the control archive beside the end of the payload. With xz, where a large one takes half a second,
/// in a thread of its own, unless liblzma would take hundreds of MiB for it; else when it is asked for.
std::launch policyFor(const CompressionSettings& settings,
                      const std::map<std::string, std::string>& controlFiles) {
    constexpr std::size_t largeBytes = std::size_t{64} << 10;
    constexpr int mostLevel = 6;
    std::size_t bytes = 0;
    for (const auto& [name, contents] : controlFiles) {
        bytes += contents.size();
    }
    const bool isSlow = settings.compression == Compression::xz && bytes >= largeBytes;
    if (settings.threads == 1 || !isSlow || settings.level > mostLevel) {
        return std::launch::deferred;
    }
    return std::launch::async | std::launch::deferred;  // deferred where no thread can be had
}

/// The check reads what this very process wrote: whatever that asks for is meant.
Limits withoutLimits() {
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    Limits limits;
    limits.controlBytes = most;
    limits.md5sumsBytes = most;
    limits.nameBytes = std::size_t{1} << 20;  // more is refused whatever this says
    limits.expansionFreeBytes = most;
    limits.xzMemoryBytes = most;
    limits.entries = most;
    limits.indexBytes = most;
    return limits;
}

}  // namespace

PackageBuild::PackageBuild(const Collection& collection, const WriteOptions& options, System& system)
    : collection_(requireSoundControl(collection)),
      options_(options),
      system_(system),
      trailing_(options.trailing),
      plan_(collection, options),
      meter_(options.progress, plan_.contentBytes() * passesOf(options)) {
    // Before anything is read: given sums and made ones would contradict each other.
    if (options.md5sums && collection.controlMembers.count("md5sums") != 0) {
        throw invalidInput("md5sums", "given as a control member; pass --no-md5sums to keep it");
    }
    // In the constructor, and so in a dry run, too: everything that shows without opening a file.
    checkSettings(settings());
    requireFits();
    checkControlMembers();
    showEntries();
}

void PackageBuild::checkControlMembers() {
    Notes notes(result_.notes);
    for (const auto& [name, contents] : collection_.controlMembers) {
        notes.takeOddities(name, memberOddities(name, contents));
    }
    notes.takeOddities("conffiles", readConffiles(conffiles()).oddities);
}

/// Nothing that stores without compressing makes the payload smaller: too much is known at once.
void PackageBuild::requireFits() const {
    const bool stored = options_.compression == Compression::none ||
                        (options_.compression == Compression::gzip && options_.level == 0);
    if (stored && plan_.leastTarBytes() > kMostMemberBytes) {
        throw memberTooLarge(memberName("data"));
    }
}

void PackageBuild::showEntries() {
    Notes notes(result_.notes);
    for (std::size_t i = 0; i < plan_.size(); ++i) {
        const Entry entry = plan_.entry(i);
        notes.take(entry);
        if (options_.onEntry) {
            options_.onEntry(entry);
        }
    }
    result_.entries = plan_.size();
    result_.payloadBytes = plan_.contentBytes();
}

void PackageBuild::showControlFiles() const {
    if (!options_.onControlFile) {
        return;
    }
    for (const auto& [name, contents] : controlFiles_) {
        // In a dry run the sums are not known, but how long they will be is.
        const bool isMade = options_.md5sums && name == "md5sums";
        const std::size_t size = isMade ? plan_.md5sumsBytes() : contents.size();
        options_.onControlFile(controlEntryOf(name, size, plan_.commonTime()), contents);
    }
}

WriteResult PackageBuild::pretend(const std::string& path) {
    if (!path.empty()) {
        const Target target(path, system_);
    }
    makeControlFiles("");
    showControlFiles();
    return result_;
}

WriteResult PackageBuild::writeFile(const std::string& path) {
    // Opened before the payload is read: a target that cannot be written shows in the first moment.
    AtomicFile file(path, system_);
    write(file, directoryOf(path));
    if (options_.check) {
        // The file is complete, but has no name: a check that fails leaves the old target alone.
        check(file.descriptor(), path);
    }
    // The last call may still cancel.
    meter_.finish();
    file.commit();
    return result_;
}

WriteResult PackageBuild::writeTo(Sink& out, const std::string& temporaryDirectory) {
    if (options_.check) {
        // The written bytes are gone: a sink cannot be read back.
        throw invalidInput("", "a package can be checked only if it is written to a file");
    }
    write(out, temporaryDirectory);
    // Before success is reported: the last call may still cancel.
    meter_.finish();
    return result_;
}

/// The payload comes first although it stands last in the package: the control archive holds its digests, and its
/// contents are to be read once.
void PackageBuild::write(Sink& out, const std::string& temporaryDirectory) {
    Spool spool(temporaryDirectory, memberName("data"), system_);
    // A key that cannot be used shows before the payload is read.
    trailing_.begin();
    writePayload(spool);
    assemble(spool, out);
}

void PackageBuild::writePayload(Spool& spool) {
    PayloadWriter payload(plan_, collection_, system_, meter_);
    payload.write(spool, settings(), options_);
    makeControlFiles(payload.takeMd5sums());
    // The end of a stream keeps fewer and fewer threads busy, so that there is a processor for this beside it.
    std::future<std::string> controlArchive = std::async(policyFor(settings(), controlFiles_), [this] {
        return makeControlArchive(controlFiles_, plan_.commonTime(), settings());
    });
    payload.finish();
    showControlFiles();
    controlArchive_ = controlArchive.get();
    result_.indexBytes = payload.indexBytes();
    Notes notes(result_.notes);
    notes.takePayload(spool.size(), payload.tarBytes());
    notes.takeIndex(payload.unpackedIndexBytes());
    notes.takeControl(controlFiles_);
}

void PackageBuild::makeTrailing(const Spool& spool) {
    if (trailing_.empty()) {
        return;
    }
    const auto takeWhole = [this](const std::string& name, std::string_view contents) {
        trailing_.beginMember(name, contents.size());
        trailing_.take(contents);
    };
    takeWhole(std::string(kFormatVersionMember), kFormatVersionText);
    takeWhole(memberName("control"), controlArchive_);
    trailing_.beginMember(memberName("data"), spool.size());
    spool.read([this](std::string_view piece) {
        trailing_.take(piece);
        meter_.add(0, "");  // for the caller to cancel
    });
    trailing_.finish();
}

void PackageBuild::assemble(Spool& spool, Sink& out) {
    const std::int64_t time = plan_.commonTime();
    // Before the first byte: without its trailing members, what a sink has received would be a whole package.
    makeTrailing(spool);
    ArWriter package(out);
    // The order of deb(5): the format's version, then control, then data.
    package.addMember(kFormatVersionMember, kFormatVersionText, time);
    package.addMember(memberName("control"), controlArchive_, time);
    package.beginMember(memberName("data"), spool.size(), time);
    spool.moveTo([&](std::string_view piece) {
        package.write(piece);
        // For the caller to cancel; these bytes were counted when they were read.
        meter_.add(0, "");
    });
    package.endMember();
    trailing_.appendTo(package, time);
    result_.packageBytes = package.size();
}

void PackageBuild::check(int descriptor, const std::string& path) {
    ReadOptions options;
    // The descriptor stays the file's; reading by offset does not move its position.
    options.limits = withoutLimits();
    options.threads = options_.threads;
    OpenInput input = openInput(OpenFile{descriptor, {}}, path, system_);
    trailing_.compare(*input.source, Place(path));
    PackageStream package(std::move(input), Place(path), options);
    Comparison comparison(package, plan_);
    comparison.compareControl(controlFiles_);
    FileReader sources(collection_, system_);
    comparison.comparePayload(sources, meter_);
}

CompressionSettings PackageBuild::settings() const {
    CompressionSettings settings;
    settings.compression = options_.compression;
    // A level that was not given is the format's usual one.
    settings.level = options_.level.value_or(levelsOf(options_.compression).usual);
    settings.threads = threadCount(options_.threads);
    settings.blockBytes = options_.blockBytes;
    settings.singleStream = options_.singleStream;
    return settings;
}

std::string PackageBuild::memberName(const char* stem) const {
    return std::string(stem) + ".tar" + std::string(suffixOf(options_.compression));
}

void PackageBuild::makeControlFiles(std::string md5sums) {
    controlFiles_ = collection_.controlMembers;
    // emplace() keeps what is there: addControlMember() refuses "control" and "conffiles".
    controlFiles_.emplace("control", controlText());
    if (std::string text = conffiles(); !text.empty()) {
        controlFiles_.emplace("conffiles", std::move(text));
    }
    if (options_.md5sums) {
        controlFiles_.emplace("md5sums", std::move(md5sums));
    }
}

std::string PackageBuild::controlText() const {
    // A copy: the collection stays as it was given, for a further writing.
    ControlParagraph control = collection_.control;
    // An Installed-Size that the caller set is kept, right or wrong, unless it is to be renewed.
    const bool isMissing = options_.installedSize && control.find("Installed-Size") == nullptr;
    if (isMissing || options_.renewInstalledSize) {
        control.set("Installed-Size", std::to_string(plan_.installedKiB()));
    }
    return control.format();
}

std::string PackageBuild::conffiles() const {
    std::string text;
    for (const std::size_t index : plan_.conffiles()) {
        text += "/" + plan_.source(index).path + "\n";
    }
    for (const std::string& path : collection_.removedConffiles) {
        text += "remove-on-upgrade /" + path + "\n";
    }
    return text;
}

}  // namespace bex::stream
