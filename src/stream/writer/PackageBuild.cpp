#include "stream/writer/PackageBuild.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "stream/ar/ArWriter.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/writer/ControlArchiveWriter.hpp"
#include "stream/writer/FileReader.hpp"
#include "stream/writer/PayloadWriter.hpp"

namespace bex::stream {

namespace {

constexpr std::string_view kFormatVersionText = "2.0\n";
constexpr const char* kMandatoryFields[] = {"Package", "Version", "Architecture", "Maintainer", "Description"};

int defaultLevelOf(Compression compression) noexcept {
    return compression == Compression::zstd ? 3 : 6;
}

/// Throws with all faults of the control paragraph.
const Collection& requireSoundControl(const Collection& collection) {
    std::string faults;
    for (const std::string& fault : collection.control.faults()) {
        faults += (faults.empty() ? "control: " : "\ncontrol: ") + fault;
    }
    if (!faults.empty()) {
        const bool missing =
            std::any_of(std::begin(kMandatoryFields), std::end(kMandatoryFields),
                        [&](const char* name) { return collection.control.find(name) == nullptr; });
        Place("").fail(ErrorKind::invalidInput, missing ? "field-missing" : "field", faults);
    }
    return collection;
}

}  // namespace

PackageBuild::PackageBuild(const Collection& collection, const WriteOptions& options, System& system)
    : collection_(requireSoundControl(collection)),
      options_(options),
      system_(system),
      plan_(collection, options) {
    if (options.md5sums && collection.controlMembers.count("md5sums") != 0) {
        throw invalidInput("md5sums", "given as a control member; pass --no-md5sums to keep it");
    }
    requireFits();
}

/// Nothing that stores without compressing makes the payload smaller: too much is known at once.
void PackageBuild::requireFits() const {
    const bool stored = options_.compression == Compression::none ||
                        (options_.compression == Compression::gzip && options_.level == 0);
    if (stored && plan_.leastTarBytes() > kMostMemberBytes) {
        throw memberTooLarge(memberName("data"));
    }
}

WriteResult PackageBuild::writeTo(Sink& out, const std::string& temporaryFolder) {
    WriteResult result;
    result.entries = plan_.size();
    result.payloadBytes = plan_.contentBytes();
    ProgressMeter meter(options_.progress, result.payloadBytes);
    FileReader reader(collection_, system_);
    PayloadWriter payload(plan_, reader, meter);
    Spool spool(temporaryFolder, memberName("data"), system_);
    {
        CompressingSink compressed(spool, settings());
        payload.write(compressed, options_.md5sums);
        compressed.finish();
    }
    ArWriter package(out, plan_.newestTime());
    package.addMember("debian-binary", kFormatVersionText);
    package.addMember(memberName("control"),
                      makeControlArchive(controlFiles(payload.takeMd5sums()), plan_.newestTime(), settings()));
    package.beginMember(memberName("data"), spool.size());
    spool.readBack([&](std::string_view piece) {
        package.write(piece);
        meter.add(0, "");
    });
    package.endMember();
    meter.finish();
    result.packageBytes = package.size();
    return result;
}

CompressionSettings PackageBuild::settings() const {
    CompressionSettings settings;
    settings.compression = options_.compression;
    settings.level = options_.level.value_or(defaultLevelOf(options_.compression));
    settings.threads = threadCount(options_.threads);
    settings.blockBytes = options_.blockBytes;
    return settings;
}

std::string PackageBuild::memberName(const char* stem) const {
    return std::string(stem) + ".tar" + std::string(suffixOf(options_.compression));
}

std::map<std::string, std::string> PackageBuild::controlFiles(std::string md5sums) const {
    std::map<std::string, std::string> files = collection_.controlMembers;
    files.emplace("control", controlText());
    if (!collection_.conffiles.empty() || !collection_.removedConffiles.empty()) {
        files.emplace("conffiles", conffiles());
    }
    if (options_.md5sums) {
        files.emplace("md5sums", std::move(md5sums));
    }
    return files;
}

std::string PackageBuild::controlText() const {
    ControlParagraph control = collection_.control;
    if (options_.installedSize && control.find("Installed-Size") == nullptr) {
        control.set("Installed-Size", std::to_string(plan_.installedKiB()));
    }
    return control.format();
}

std::string PackageBuild::conffiles() const {
    std::string text;
    for (const std::string& path : collection_.conffiles) {
        text += "/" + path + "\n";
    }
    for (const std::string& path : collection_.removedConffiles) {
        text += "remove-on-upgrade /" + path + "\n";
    }
    return text;
}

}  // namespace bex::stream
