#include "verbs/BuildPlan.hpp"

#include <utility>

#include "bex/stream/Escape.hpp"
#include "output/Text.hpp"
#include "stream/base/Text.hpp"
#include "verbs/PackageNotes.hpp"

namespace bex::tool {

namespace {

std::string lineOf(const stream::Entry& entry) {
    std::string line =
        modeText(entry) + "\t" + std::to_string(entry.size) + "\t" + stream::escapeForDisplay(entry.path);
    if (!entry.linkTarget.empty()) {
        line += "\t" + stream::escapeForDisplay(entry.linkTarget);
    }
    return line + "\n";
}

}  // namespace

void BuildPlan::collectFrom(stream::WriteOptions& options) {
    options.onEntry = [this](const stream::Entry& entry) { entries_.push_back(entry); };
    options.onControlFile = [this](const stream::Entry& entry, std::string_view contents) {
        takeControlFile(entry, contents);
    };
}

void BuildPlan::takeControlFile(const stream::Entry& entry, std::string_view contents) {
    Json file = jsonOf(entry);
    // The sums of md5sums are not known before the payload is read: such a file has a size alone.
    if (contents.size() == entry.size) {
        putText(file, "text", contents);
    }
    control_.push_back(std::move(file));
    if (entry.path == "./control") {
        const auto control = stream::ControlParagraph::parse(contents, "control");
        for (const auto& field : control.fields()) {
            putText(fields_, field.name, field.value);
        }
    } else if (entry.path == "./conffiles") {
        // Of what is to be removed on upgrades the line begins with a word: no entry has such a path.
        stream::forEachLine(contents,
                            [this](std::string_view line) { conffiles_.insert("." + std::string(line)); });
    }
}

std::string BuildPlan::lines() const {
    std::string lines;
    for (const stream::Entry& entry : entries_) {
        lines += lineOf(entry);
    }
    return lines;
}

std::string BuildPlan::json(const std::string& target, const std::vector<stream::TrailingMember>& trailing,
                            const stream::WriteResult& result) const {
    Json object = {{"schema", 1}};
    if (!target.empty()) {
        putText(object, "package", target);
    }
    object["fields"] = fields_;
    object["control"] = control_;
    Json& entries = object["entries"] = Json::array();
    for (const stream::Entry& entry : entries_) {
        Json& shown = entries.emplace_back(jsonOf(entry));
        if (conffiles_.count(entry.path) != 0) {
            shown["conffile"] = true;
        }
    }
    for (const stream::TrailingMember& member : trailing) {
        object["trailing"].push_back(member.name);
    }
    object["notes"] = notesJson(result.notes);
    return jsonText(object);
}

}  // namespace bex::tool
