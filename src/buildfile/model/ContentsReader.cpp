#include "buildfile/model/ContentsReader.hpp"

#include <utility>

#include "bex/stream/Escape.hpp"
#include "buildfile/model/Checks.hpp"

namespace bex::buildfile {

namespace {

struct TypeWord {
    const char* word;
    ContentType type;
    bool isConfig;
};

// dpkg asks before it replaces any conffile, so that the variants of RPM come to the same.
constexpr TypeWord kTypes[] = {
    {"config", ContentType::file, true},
    {"config|noreplace", ContentType::file, true},
    {"config|missingok", ContentType::file, true},
    {"symlink", ContentType::symlink, false},
    {"dir", ContentType::directory, false},
    {"tree", ContentType::tree, false},
    {"config|tree", ContentType::tree, true},
    {"config|noreplace|tree", ContentType::tree, true},
    {"config|missingok|tree", ContentType::tree, true},
};

void setType(const std::string& word, Content& content) {
    for (const TypeWord& known : kTypes) {
        if (known.word == word) {
            content.type = known.type;
            content.isConfig = known.isConfig;
        }
    }
    // RPM's doc, license and so on are files here.
}

/// nfpm expands src and dst only where `expand` says so; a name in braces is never meant as it is.
Expansion expansionOf(const Value& line) {
    const Value* expand = line.find("expand");
    if (expand == nullptr) {
        return Expansion::braces;
    }
    if (isTrue(expand, false)) {
        return Expansion::shell;
    }
    return Expansion::none;
}

FileInfo infoOf(const Value* value, const Document& document) {
    FileInfo info;
    if (value == nullptr) {
        return info;
    }
    if (const Value* mode = value->find("mode")) {
        info.mode = document.mode(*mode);
    }
    if (const Value* mtime = value->find("mtime")) {
        info.mtime = document.time(*mtime);
    }
    info.owner = document.text(value->find("owner")).value_or("");
    info.group = document.text(value->find("group")).value_or("");
    return info;
}

Content contentOf(const Value& line, const std::string& type, const Document& document) {
    Content content;
    content.at = line.at;
    const Expansion expansion = expansionOf(line);
    if (const Value* source = line.find("src")) {
        content.source = {expanded(*source, expansion, document.file()), source->at};
    }
    content.destination = document.text(line.find("dst"), expansion).value_or("");
    setType(type, content);
    content.info = infoOf(line.find("file_info"), document);
    content.disowned = document.texts(line.find("disown_subtree"));
    // Also after expansion: a variable that is empty must not mean the package's root.
    if (content.destination.empty()) {
        fail(document.file(), line.at, "a line of contents has no dst");
    }
    return content;
}

/// What a line for others is, for the note; "" for one that is read.
std::string foreignKind(const Value& line, const std::string& type, const Document& document) {
    const std::string packager = document.text(line.find("packager")).value_or(kFormat);
    if (packager != kFormat) {
        return "contents for " + stream::escapeForDisplay(packager);
    }
    // RPM's word for a file that a package owns without bringing it; dpkg knows no such thing.
    if (type == "ghost") {
        return "a ghost in contents";
    }
    return "";
}

}  // namespace

std::vector<Content> readContents(const Document& document, std::vector<std::string>& skipped) {
    std::vector<Content> contents;
    const Value* const lines = document.overridable("contents");
    if (lines == nullptr) {
        return contents;
    }
    for (const Value& line : lines->items) {
        const std::string type = document.text(line.find("type"), Expansion::none).value_or("");
        // Looked at first: a line for another format may name files that this machine does not have.
        const std::string foreign = foreignKind(line, type, document);
        if (foreign.empty()) {
            contents.push_back(contentOf(line, type, document));
        } else {
            skipped.push_back(foreign + " (line " + std::to_string(line.at.line) + ")");
        }
    }
    return contents;
}

}  // namespace bex::buildfile
