#include "buildfile/model/PackageVersion.hpp"

#include <cstddef>
#include <optional>
#include <string_view>

#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

constexpr std::size_t kMostNumbers = 3;

/// Parts of semver.org's form; those that are missing are empty. `numbers` is the whole text for other versions.
struct SemanticVersion {
    std::string numbers;
    std::string prerelease;
    std::string metadata;
};

bool isNumber(std::string_view text) {
    return !text.empty() && stream::consistsOf(text, stream::isDigit);
}

/// Up to three numbers: fewer are usual, though semver.org asks for all three.
bool areNumbers(std::string_view text) {
    bool sound = true;
    std::size_t count = 0;
    stream::forEachPart(text, '.', [&](std::string_view part) {
        sound = sound && isNumber(part);
        ++count;
    });
    return sound && count <= kMostNumbers;
}

bool areIdentifiers(std::string_view text) {
    return !text.empty() &&
           stream::consistsOf(text, [](char c) { return stream::isAlphanumeric(c) || c == '.' || c == '-'; });
}

/// What follows the mark, which is cut off with it; nothing where there is none.
std::optional<std::string> cutAfter(std::string_view& text, char mark) {
    const std::size_t at = text.find(mark);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    std::string rest(text.substr(at + 1));
    text = text.substr(0, at);
    return rest;
}

std::optional<SemanticVersion> parsed(std::string_view text) {
    if (!text.empty() && text.front() == 'v') {
        text.remove_prefix(1);
    }
    // Metadata first: it comes last and may hold a "-", which then does not begin a pre-release.
    const auto metadata = cutAfter(text, '+');
    const auto prerelease = cutAfter(text, '-');
    const bool sound = areNumbers(text) && (!metadata || areIdentifiers(*metadata)) &&
                       (!prerelease || areIdentifiers(*prerelease));
    if (!sound) {
        return std::nullopt;
    }
    return SemanticVersion{std::string(text), prerelease.value_or(""), metadata.value_or("")};
}

}  // namespace

std::string debianVersion(const VersionParts& parts) {
    SemanticVersion version{parts.version, "", ""};
    if (parts.isSemantic) {
        // A version of another form is kept as it is, with the separate parts around it.
        version = parsed(parts.version).value_or(version);
    }
    const std::string prerelease(stream::orIfEmpty(parts.prerelease, version.prerelease));
    const std::string metadata(stream::orIfEmpty(parts.metadata, version.metadata));
    std::string text;
    const auto append = [&text](const char* before, const std::string& part, const char* after) {
        if (!part.empty()) {
            text += before + part + after;
        }
    };
    // deb-version(7): epoch, ":", version, "-", revision. The tilde sorts before everything, even the end, so that
    // pre-releases come before the release; the plus sorts after the end.
    append("", parts.epoch, ":");
    append("", version.numbers, "");
    append("~", prerelease, "");
    append("+", metadata, "");
    append("-", parts.release, "");
    return text;
}

}  // namespace bex::buildfile
