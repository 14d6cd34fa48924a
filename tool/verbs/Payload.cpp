#include "verbs/Payload.hpp"

#include <filesystem>
#include <map>
#include <utility>

#include "verbs/BuildDependencies.hpp"

namespace bex::tool {

namespace fs = std::filesystem;
using stream::EntryType;

Payload::Payload(stream::PackageWriter& writer, StrippedFiles& stripped)
    : writer_(writer), stripped_(stripped), listsFiles_(wantsDependencies(writer.control())) {}

void Payload::list(std::string path, std::string source, std::string linkTarget) {
    // Only a search for dependencies needs the list, and it costs memory for each entry.
    if (listsFiles_) {
        files_.push_back({std::move(path), std::move(source), std::move(linkTarget)});
    }
}

/// The filter sees every entry that is to be packaged, and leaves those out that have a copy.
void Payload::addTree(const std::string& tree, stream::TreeOptions options) {
    // The usual case: the writer walks the tree alone.
    if (!listsFiles_ && !stripped_.strips()) {
        writer_.addTree(tree, options);
        return;
    }
    std::map<std::string, std::string> copies;  // by their paths in the package
    options.filter = [&, isWanted = options.filter, prefix = options.prefix](const stream::Entry& entry) {
        if (isWanted && !isWanted(entry)) {
            return false;
        }
        // Perhaps with slashes in front or doubled: the writer and the search make paths plain.
        const std::string path = prefix + "/" + stream::plainPath(entry.path);
        if (entry.type == EntryType::symlink) {
            list(path, "", entry.linkTarget);
        }
        if (entry.type != EntryType::file) {
            return true;
        }
        const std::string source = (fs::path(tree) / stream::plainPath(entry.path)).string();
        list(path, source, "");
        const std::string copy = stripped_.copyOf(source);
        if (!copy.empty()) {
            copies[path] = copy;
        }
        // Left out here, and added below from its copy: a tree is walked once.
        return copy.empty();
    };
    writer_.addTree(tree, options);
    std::map<std::string, std::string> paths;  // by copies: a file with several names has one
    for (const auto& [path, copy] : copies) {
        const auto [first, isNew] = paths.emplace(copy, path);
        if (isNew) {
            writer_.addFile(copy, path);
        } else {
            writer_.addHardlink(first->second, path);
        }
    }
}

void Payload::addFile(const std::string& source, const std::string& path) {
    const std::string copy = stripped_.copyOf(source);
    writer_.addFile(copy.empty() ? source : copy, path);
    // The original, not the copy: what a file needs does not change with its symbols.
    if (fs::is_regular_file(source)) {
        list(path, source, "");
    }
}

void Payload::addSymlink(const std::string& target, const std::string& path) {
    writer_.addSymlink(target, path);
    list(path, "", target);
}

void Payload::addBuildFile(const buildfile::BuildFile& file) {
    file.addTo(writer_, [this](const std::string& source) { return stripped_.copyOf(source); });
    for (const auto& entry : file.files()) {
        list(entry.path, entry.source, entry.linkTarget);
    }
}

}  // namespace bex::tool
