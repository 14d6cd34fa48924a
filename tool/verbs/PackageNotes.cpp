#include "verbs/PackageNotes.hpp"

#include <utility>

#include "arguments/LimitOption.hpp"

namespace bex::tool {

/// Empty, but there, for no notes: programs need not ask whether the list exists.
Json notesJson(const std::vector<stream::Finding>& notes) {
    Json list = Json::array();
    for (const auto& note : notes) {
        Json object = {{"code", note.code}};
        putText(object, "message", messageOf(note));
        if (!note.limit.empty()) {
            object["hint"] = limitHint(note.limit);
        }
        list.push_back(std::move(object));
    }
    return list;
}

void printNotes(const std::string& package, const std::vector<stream::Finding>& notes, Context& context) {
    // The object on standard output has them: see notesJson().
    if (context.json) {
        return;
    }
    for (stream::Finding note : notes) {
        // A copy, which gets the name under which the user knows the package.
        note.package = package;
        context.console.note(messageOf(note));
        if (!note.limit.empty()) {
            context.console.note("hint: " + limitHint(note.limit));
        }
    }
}

void printWritten(const std::string& path, const stream::WriteResult& result, Context& context) {
    if (!context.json) {
        context.console.out(path + "\n");
        printNotes(path, result.notes, context);
        return;
    }
    Json object = {{"schema", 1}};
    putText(object, "package", path);
    object["packageBytes"] = result.packageBytes;
    object["payloadBytes"] = result.payloadBytes;
    object["entries"] = result.entries;
    object["notes"] = notesJson(result.notes);
    context.console.out(jsonText(object));
}

}  // namespace bex::tool
