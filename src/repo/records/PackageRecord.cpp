#include "bex/repo/PackageRecord.hpp"

#include <algorithm>
#include <tuple>
#include <utility>

#include "bex/stream/Version.hpp"
#include "repo/base/Failure.hpp"
#include "repo/records/FieldOrder.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

using stream::ControlParagraph;

void appendLine(std::string& text, const char* name, std::string_view value) {
    if (!value.empty()) {
        text.append(name).append(": ").append(value).append("\n");
    }
}

std::string_view withoutBlanksAtEnd(std::string_view line) {
    while (!line.empty() && (stream::isBlank(line.back()) || line.back() == '\v' || line.back() == '\f')) {
        line.remove_suffix(1);
    }
    return line;
}

/// The field folded as dpkg's modules fold it: no blanks at the end of a line.
void appendField(std::string& text, const std::string& name, std::string_view value) {
    text.append(name).append(":");
    bool isFirst = true;
    stream::forEachPart(value, '\n', [&](std::string_view part) {
        const std::string_view line = withoutBlanksAtEnd(part);
        // A continuation begins with a blank, and an empty one is " .": an empty line would end the paragraph
        // (deb822(5)).
        if (!isFirst || !line.empty()) {
            text.append(" ").append(stream::orIfEmpty(line, "."));
        }
        text.append("\n");
        isFirst = false;
    });
}

StreamError badStanza(const std::string& name, std::string reason) {
    return failure(ErrorKind::damaged, "stanza", name, std::move(reason));
}

/// Wider than Debian's policy, which has no capital letters or "_": packages with such names exist and install.
bool isPackageName(std::string_view name) {
    return !name.empty() && stream::isAlphanumeric(name.front()) && stream::consistsOf(name, [](char c) {
        return stream::isAlphanumeric(c) || c == '+' || c == '-' || c == '.' || c == '_';
    });
}

bool isArchitecture(std::string_view name) {
    return !name.empty() && stream::isAlphanumeric(name.front()) &&
           stream::consistsOf(name, [](char c) { return stream::isAlphanumeric(c) || c == '-'; });
}

bool isControlCharacter(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

/// What is wrong with the path, or "".
std::string filenameFault(const std::string& filename) {
    if (filename.empty()) {
        return "has no Filename";
    }
    // Clients append the name to the address of the repository and to a directory of theirs.
    if (filename.front() == '/') {  // guard: absolute filenames
        return "Filename " + quoted(filename) + " is absolute";
    }
    if (stream::hasParentComponent(filename)) {  // guard: filenames that lead out
        return "Filename " + quoted(filename) + " leads out of the repository";
    }
    if (std::any_of(filename.begin(), filename.end(), isControlCharacter)) {  // guard: filenames that add a line
        return "Filename " + quoted(filename) + " has a control character";
    }
    if (filename.front() == ' ' || filename.back() == ' ') {
        return "Filename " + quoted(filename) + " has a blank at its end, which an index can't hold";
    }
    return "";
}

bool isDigest(std::string_view text, std::size_t digits) {
    return text.size() == digits && stream::consistsOf(text, stream::isLowerCaseHexDigit);
}

/// SHA-256 is the one that must be there in an index: clients refuse packages without it or a stronger one.
void checkDigests(const Digests& digests, const std::string& name, bool complete) {
    if (complete && digests.sha256.empty()) {
        throw badStanza(name, "has no SHA256");
    }
    const std::tuple<const char*, const std::string&, std::size_t> rules[] = {{"MD5sum", digests.md5, 32},
                                                                              {"SHA1", digests.sha1, 40},
                                                                              {"SHA256", digests.sha256, 64},
                                                                              {"SHA512", digests.sha512, 128}};
    for (const auto& [field, digest, digits] : rules) {
        if (!digest.empty() && !isDigest(digest, digits)) {
            throw badStanza(name, field + std::string(" ") + quoted(digest) + " is not a digest");
        }
    }
}

void checkVersion(const std::string& version, const std::string& name) {
    try {
        stream::Version::parse(version);
    } catch (const StreamError& e) {
        throw badStanza(name, "Version " + quoted(version) + ": " + e.record().reason);
    }
}

}  // namespace

void checkRecord(const PackageRecord& record, const std::string& name, bool complete) {
    if (!isPackageName(record.package)) {  // guard: names of packages
        throw badStanza(name, "Package " + quoted(record.package) + " is not the name of a package");
    }
    if (!isArchitecture(record.architecture)) {  // guard: names of architectures
        throw badStanza(name, "Architecture " + quoted(record.architecture) + " is not the name of one");
    }
    checkVersion(record.version, name);
    // A record from a package's own control file has no filename yet.
    if (complete || !record.filename.empty()) {
        if (std::string fault = filenameFault(record.filename); !fault.empty()) {
            throw failure(ErrorKind::refused, "unsafe-filename", name, std::move(fault));
        }
    }
    checkDigests(record.digests, name, complete);
}

ControlParagraph PackageRecord::control() const {
    return ControlParagraph::parse(before + after, package);
}

PackageRecord recordOf(const ControlParagraph& control, const std::string& name) {
    std::vector<std::pair<FieldPlace, std::string_view>> fields;
    for (const auto& field : control.fields()) {
        const bool empty = stream::consistsOf(field.value, [](char c) { return stream::isBlank(c) || c == '\n'; });
        // Filename, Size and the digests are the index's to say: what a package claims of itself must not get
        // there.
        if (!empty && !isIndexField(field.name)) {
            fields.emplace_back(placeOf(field.name), field.value);
        }
    }
    std::sort(fields.begin(), fields.end(), [](const auto& a, const auto& b) {
        return std::tie(a.first.rank, a.first.name) < std::tie(b.first.rank, b.first.name);
    });
    PackageRecord record;
    for (const auto& [place, value] : fields) {
        // The fields that only an index has stand between the two texts; appendStanza() puts them there.
        std::string& lines = place.rank < rankOfFilename() ? record.before : record.after;
        appendField(lines, place.name, value);
    }
    const auto valueOf = [&control](const char* field) {
        const std::string* value = control.find(field);
        return value != nullptr ? *value : std::string();
    };
    record.package = valueOf("Package");
    record.version = valueOf("Version");
    record.architecture = valueOf("Architecture");
    checkRecord(record, name, false);
    return record;
}

void appendStanza(std::string& text, const PackageRecord& record) {
    // The order is that of kOrder in FieldOrder.cpp.
    text += record.before;
    appendLine(text, "Filename", record.filename);
    appendLine(text, "Size", std::to_string(record.size));
    appendLine(text, "MD5sum", record.digests.md5);
    appendLine(text, "SHA1", record.digests.sha1);
    appendLine(text, "SHA256", record.digests.sha256);
    appendLine(text, "SHA512", record.digests.sha512);
    text += record.after;
}

void appendStanzas(std::string& text, const std::vector<PackageRecord>& records) {
    for (const PackageRecord& record : records) {
        appendStanza(text, record);
        text += '\n';
    }
}

/// A total order for a result that is the same each time: versions are compared as text.
bool precedes(const PackageRecord& a, const PackageRecord& b) noexcept {
    return std::tie(a.package, a.version, a.architecture, a.filename) <
           std::tie(b.package, b.version, b.architecture, b.filename);
}

}  // namespace bex::repo
