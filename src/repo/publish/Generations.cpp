#include "repo/publish/Generations.hpp"

#include <utility>

#include "bex/stream/ControlReader.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

/// Long enough for a slow client that has just read an InRelease.
constexpr std::int64_t kGraceSeconds = 15 * 60;

/// A path on each line after the first.
std::string linesOf(const std::set<std::string>& paths) {
    std::string lines;
    for (const std::string& path : paths) {
        lines += "\n" + path;
    }
    return lines;
}

std::set<std::string> pathsOf(const std::string* lines) {
    std::set<std::string> paths;
    if (lines != nullptr) {
        stream::forEachLine(*lines, [&](std::string_view line) {
            // The file may have been edited. Its paths decide what is deleted, so none may lead out.
            if (!line.empty() && !stream::hasParentComponent(line)) {
                paths.emplace(line);
            }
        });
    }
    return paths;
}

}  // namespace

Generations::Generations(const Layout& layout, const std::string& suite) : path_(layout.generations(suite)) {
    const auto text = readFile(path_);
    if (!text) {
        return;
    }
    auto reader = stream::ControlReader::ofText(*text, path_);
    for (stream::ControlParagraph paragraph; reader.next(paragraph);) {
        unlisted_.merge(pathsOf(paragraph.find("Unlisted")));
        if (paragraph.find("Files") == nullptr) {
            continue;
        }
        Generation generation;
        if (const std::string* published = paragraph.find("Published")) {
            // A date that can't be read counts as long ago: the number of generations still keeps the newest.
            generation.published = stream::parseWhole<std::int64_t>(*published).value_or(0);
        }
        generation.files = pathsOf(paragraph.find("Files"));
        generation.drops = pathsOf(paragraph.find("Drops"));
        generations_.push_back(std::move(generation));
    }
}

void Generations::append(std::int64_t now, const std::set<std::string>& files,
                         const std::set<std::string>& drops) {
    // The same files again are the same generation: otherwise repeated publications would push out older ones
    // that clients may still read.
    if (generations_.empty() || generations_.back().files != files) {
        generations_.push_back({now, files, {}});
    }
    generations_.back().published = now;
    generations_.back().drops.insert(drops.begin(), drops.end());
}

void Generations::expire(std::int64_t now, std::size_t keep) {
    // A generation counts from when the next one took its place. A clock that was set back makes it stay.
    // `keep` is at least 1, so that generation 1 exists.
    while (generations_.size() > keep && now - generations_[1].published > kGraceSeconds) {
        generations_.erase(generations_.begin());
        // The first generation left is the one that dropped these files, and only the one erased now still listed
        // them.
        unlisted_.merge(generations_.front().drops);
        generations_.front().drops.clear();
    }
}

std::set<std::string> Generations::files() const {
    std::set<std::string> files;
    for (const Generation& generation : generations_) {
        files.insert(generation.files.begin(), generation.files.end());
    }
    return files;
}

std::set<std::string> Generations::drops() const {
    std::set<std::string> drops;
    for (const Generation& generation : generations_) {
        drops.insert(generation.drops.begin(), generation.drops.end());
    }
    return drops;
}

std::string Generations::format() const {
    std::string text;
    for (const Generation& generation : generations_) {
        stream::ControlParagraph paragraph;
        paragraph.set("Published", std::to_string(generation.published));
        paragraph.set("Files", linesOf(generation.files));
        if (!generation.drops.empty()) {
            paragraph.set("Drops", linesOf(generation.drops));
        }
        // The empty line between two paragraphs of deb822.
        stream::appendPart(text, "\n", paragraph.format());
    }
    if (!unlisted_.empty()) {
        stream::ControlParagraph paragraph;
        paragraph.set("Unlisted", linesOf(unlisted_));
        stream::appendPart(text, "\n", paragraph.format());
    }
    return text;
}

void Generations::write(System& system) const {
    const std::string text = format();
    if (readFile(path_) != text) {
        writeFile(path_, text, system);
    }
}

}  // namespace bex::repo
