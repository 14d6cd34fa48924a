#include "verbs/BuildFiles.hpp"

#include <filesystem>
#include <iostream>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/TextFile.hpp"

namespace bex::tool {

namespace fs = std::filesystem;

namespace {

// Opened only when there is a build file: a YAML parser would slow the start of every other command.
constexpr const char* kLibrary = "libbexbuildfile.so.1";

/// By its name alone. A tree may be called so, too, and is then still a tree.
bool isYamlFile(const std::string& path) {
    const std::string suffix = fs::path(path).extension().string();
    std::error_code failure;
    return (suffix == ".yaml" || suffix == ".yml") && !fs::is_directory(path, failure);
}

std::string textOf(const std::string& path) {
    if (path != "-") {
        return readFile(path);
    }
    return {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
}

/// The reader has checked the word; "" and "none" mean the same.
StripKind stripKindOf(const std::string& word) {
    if (word == "drop") {
        return StripKind::drop;
    }
    if (word == "dbgsym") {
        return StripKind::dbgsym;
    }
    return StripKind::none;
}

}  // namespace

void settleBuildFile(BuildArguments& arguments) {
    // "bex build nfpm.yaml OUT" and "bex build -f nfpm.yaml OUT" are the same from here on.
    if (arguments.buildFile.empty() && isYamlFile(arguments.tree)) {
        arguments.buildFile = std::exchange(arguments.tree, "");
    }
    if (arguments.buildFile.empty()) {
        return;
    }
    if (!arguments.controlFile.empty()) {
        throw UsageError("--control and a build file exclude each other");
    }
    if (!arguments.tree.empty() && !arguments.out.empty()) {
        throw UsageError(stream::escapeForDisplay(arguments.out) +
                         ": one argument too many: with a build file there is no TREE");
    }
    // The parser has taken the only argument for TREE.
    if (!arguments.tree.empty()) {
        arguments.out = std::exchange(arguments.tree, "");
    }
}

std::unique_ptr<buildfile::BuildFile> openBuildFile(BuildArguments& arguments, stream::ControlParagraph& control,
                                                    Context& context) {
    if (arguments.buildFile.empty()) {
        return nullptr;
    }
    const auto read = functionOf<decltype(bexReadBuildFile)>(kLibrary, "bexReadBuildFile");
    // The function hands over a plain pointer, since it is found by name: it is owned from here on.
    std::unique_ptr<buildfile::BuildFile> file(read(arguments.buildFile, textOf(arguments.buildFile), control));
    const buildfile::Requests& requests = file->requests();
    for (const auto& note : requests.notes) {
        context.console.note(stream::escapeForDisplay(arguments.buildFile) + ": " + note);
    }
    if (!arguments.compression) {
        arguments.compression = requests.compression;
        // A level of the file is one of its compression.
        if (!arguments.level) {
            arguments.level = requests.level;
        }
    }
    arguments.time = requests.time;
    if (!arguments.strip) {
        arguments.strip = stripKindOf(requests.strip);
    }
    return file;
}

}  // namespace bex::tool
