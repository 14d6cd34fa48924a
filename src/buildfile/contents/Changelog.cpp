#include "buildfile/contents/Changelog.hpp"

#include <zlib.h>

#include <ctime>
#include <new>

#include "buildfile/model/PackageVersion.hpp"
#include "buildfile/yaml/Value.hpp"
#include "buildfile/yaml/YamlReader.hpp"
#include "stream/base/DateNames.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

/// The member's text; `usual` where it is missing or not a text.
std::string textOf(const Value& map, std::string_view key, const std::string& usual) {
    const Value* value = map.find(key);
    if (value == nullptr || value->kind != Value::Kind::scalar) {
        return usual;
    }
    return value->text;
}

/// "2019-10-18T16:05:33Z", perhaps with fractions of a second, as deb-changelog(5) has it.
std::string dateOf(const Value& release, const std::string& file) {
    std::string text = textOf(release, "date", "");
    if (const std::size_t point = text.find('.'); point != std::string::npos) {
        // strptime() knows no fractions. Where nothing follows the digits, npos minus point still erases to the
        // end.
        text.erase(point, text.find_first_not_of("0123456789", point + 1) - point);
    }
    std::tm time{};
    // glibc fills in the day of the week from the date, and %z takes "Z" as well as "+02:00".
    const char* end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S%z", &time);
    if (end == nullptr || *end != '\0') {
        fail(file, release.at, "a release has no date such as 2019-10-18T16:05:33Z");
    }
    // At most " YYYY HH:MM:SS +HHMM": it always fits. %z writes the offset that strptime() read.
    char rest[64];
    const std::tm local = time;
    std::strftime(rest, sizeof rest, " %Y %H:%M:%S %z", &local);
    return stream::dayAndMonth(time) + rest;
}

/// One change, which chglog gives as a map with a note; further lines are indented below its bullet.
void appendChange(const Value& change, std::string& text) {
    const std::string note = change.kind == Value::Kind::scalar ? change.text : textOf(change, "note", "");
    const char* indent = "  * ";
    stream::forEachLine(note, [&](std::string_view line) {
        if (!line.empty()) {
            text.append(indent).append(line).append("\n");
            indent = "    ";
        }
    });
}

/// One entry of deb-changelog(5): heading, changes, trailer with two blanks before the date.
std::string releaseText(const Value& release, const std::string& file, const std::string& package) {
    VersionParts version;
    version.version = textOf(release, "semver", "");
    if (release.kind != Value::Kind::map || version.version.empty()) {
        fail(file, release.at, "a release has no semver");
    }
    std::string distributions;
    std::string urgency = "low";
    if (const Value* deb = release.find("deb")) {
        urgency = textOf(*deb, "urgency", urgency);
        if (const Value* list = deb->find("distributions")) {
            for (const Value& item : list->items) {
                stream::appendPart(distributions, " ", item.text);
            }
        }
    }
    std::string text = package + " (" + debianVersion(version) + ") " +
                       std::string(stream::orIfEmpty(distributions, "unstable")) + "; urgency=" + urgency + "\n\n";
    if (const Value* changes = release.find("changes")) {
        for (const Value& change : changes->items) {
            appendChange(change, text);
        }
    }
    return text + "\n -- " + textOf(release, "packager", "") + "  " + dateOf(release, file) + "\n";
}

}  // namespace

std::string debianChangelog(const std::string& text, const std::string& file, const std::string& package) {
    const Value releases = readYaml(text, file);
    if (releases.kind != Value::Kind::list) {
        fail(file, releases.at, "must be a list of releases");
    }
    std::string changelog;
    for (const Value& release : releases.items) {
        stream::appendPart(changelog, "\n", releaseText(release, file, package));
    }
    return changelog;
}

/// Debian Policy 12.7: a native package, whose version has no revision, has one changelog, its own.
std::string changelogName(const std::string& version) {
    if (version.find('-') == std::string::npos) {
        return "changelog.gz";
    }
    return "changelog.Debian.gz";
}

std::string gzipped(const std::string& bytes) {
    constexpr int kGzip = 16;  // added to the window's size
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, MAX_WBITS + kGzip, MAX_MEM_LEVEL,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
    // A header without time and name: the same bytes give the same file on every run.
    std::string result(deflateBound(&stream, bytes.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));  // zlib does not write to it
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, Z_FINISH);  // The bound is enough for all: it ends in one call.
    result.resize(stream.total_out);
    deflateEnd(&stream);
    return result;
}

}  // namespace bex::buildfile
