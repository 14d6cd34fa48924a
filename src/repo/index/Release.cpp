#include "repo/index/Release.hpp"

#include <array>
#include <clocale>
#include <cstddef>
#include <cstdio>
#include <ctime>

#include "bex/stream/ControlParagraph.hpp"
#include "repo/base/Failure.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/DateNames.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

constexpr std::size_t kSha256Digits = 64;

bool isDigest(std::string_view text) {
    return text.size() == kSha256Digits && stream::consistsOf(text, stream::isLowerCaseHexDigit);
}

/// Takes the word at the beginning off the line.
std::string_view takeWord(std::string_view& line) {
    // Columns may be padded with several blanks: archives align the sizes.
    line = stream::trimmed(line);
    std::size_t end = 0;
    while (end < line.size() && !stream::isBlank(line[end])) {
        ++end;
    }
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(end);
    return word;
}

void readFileLine(std::string_view line, Release& release, const std::string& name) {
    const std::string_view digest = takeWord(line);
    const auto size = stream::parseWhole<std::uint64_t>(takeWord(line));
    const std::string_view path = stream::trimmed(line);
    // The first line of the field's value, after "SHA256:", is empty.
    if (digest.empty() && path.empty()) {
        return;
    }
    // The paths are opened below the suite's directory, so that none may lead out of it. An upper-case digest
    // would not compare equal to ours.
    if (!isDigest(digest) || !size || path.empty() || path.front() == '/' || stream::hasParentComponent(path)) {
        throw failure(ErrorKind::damaged, "release", name,
                      "a line of SHA256 is not a digest, a size and a path: " + quoted(std::string(path)));
    }
    release.files[std::string(path)] = {std::string(digest), *size};
}

}  // namespace

std::string Release::field(std::string_view name) const {
    for (const auto& [key, value] : fields) {
        if (stream::equalIgnoringCase(key, name)) {
            return value;
        }
    }
    return {};
}

std::string Release::format() const {
    std::string text;
    for (const auto& [name, value] : fields) {
        text += name + ": " + value + "\n";
    }
    text += "SHA256:\n";
    // The map is sorted, so that the same indexes give the same text.
    for (const auto& [path, file] : files) {
        text += " " + file.sha256 + " " + std::to_string(file.size) + " " + path + "\n";
    }
    return text;
}

Release Release::parse(std::string_view text, const std::string& name) {
    const stream::ControlParagraph paragraph = stream::ControlParagraph::parse(text, name);
    Release release;
    for (const auto& [key, value] : paragraph.fields()) {
        if (stream::equalIgnoringCase(key, "SHA256")) {
            stream::forEachLine(value, [&](std::string_view line) { readFileLine(line, release, name); });
        } else if (!stream::equalIgnoringCase(key, "MD5Sum") && !stream::equalIgnoringCase(key, "SHA1") &&
                   !stream::equalIgnoringCase(key, "SHA512")) {
            // Other lists of digests are left out: only SHA256 is checked and written.
            release.fields.emplace_back(key, value);
        }
    }
    return release;
}

std::string signedText(std::string_view text) {
    std::string found;
    enum class Part { before, headers, body, after } part = Part::before;
    stream::forEachLine(text, [&](std::string_view line) {
        // Line ends are not a part of what is signed (RFC 9580, section 7.2), and a server may have converted
        // them.
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (part == Part::before) {
            part = line == "-----BEGIN PGP SIGNED MESSAGE-----" ? Part::headers : Part::before;
        } else if (part == Part::headers) {
            part = line.empty() ? Part::body : Part::headers;
        } else if (part == Part::body && line == "-----BEGIN PGP SIGNATURE-----") {
            part = Part::after;
        } else if (part == Part::body) {
            // Dash-escaped (RFC 9580, section 7.2): otherwise a line of the text could pass for the beginning of
            // the signature.
            if (line.substr(0, 2) == "- ") {
                line.remove_prefix(2);
            }
            found.append(line).append("\n");
        }
    });
    // Text without a signature after it was cut or never signed.
    if (part != Part::after) {
        return {};
    }
    // The newline before the signature is not signed, and programs differ in whether they add one.
    found.erase(found.find_last_not_of('\n') + 1);
    return found + "\n";
}

std::string formatDate(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm fields = {};
    gmtime_r(&time, &fields);
    std::array<char, 64> rest = {};
    std::strftime(rest.data(), rest.size(), " %Y %H:%M:%S UTC", &fields);
    return stream::dayAndMonth(fields) + rest.data();
}

std::int64_t parseDate(const std::string& date, const std::string& name) {
    std::tm fields = {};
    std::array<char, 4> month = {};
    // The zone is not read: the format asks for UTC, however it is written.
    const int count = std::sscanf(date.c_str(), "%*3s, %d %3s %d %d:%d:%d", &fields.tm_mday, month.data(),
                                  &fields.tm_year, &fields.tm_hour, &fields.tm_min, &fields.tm_sec);
    // Four digits, as the format has them; of what is far beyond, the difference would not fit.
    const bool isYear = fields.tm_year >= 1900 && fields.tm_year <= 9999;
    if (isYear) {
        fields.tm_year -= 1900;
    }
    fields.tm_mon = -1;
    for (std::size_t i = 0; i < stream::kMonthNames.size(); ++i) {
        if (std::string_view(month.data()) == stream::kMonthNames[i]) {
            fields.tm_mon = static_cast<int>(i);
        }
    }
    if (count != 6 || !isYear || fields.tm_mon < 0) {
        throw failure(ErrorKind::damaged, "release", name, "Date is not a date: " + quoted(date));
    }
    return timegm(&fields);
}

}  // namespace bex::repo
