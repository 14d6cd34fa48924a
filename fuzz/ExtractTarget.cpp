#include <map>

#include "Target.hpp"
#include "Watched.hpp"
#include "stream/reader/HandMade.hpp"

namespace bex::fuzz {
namespace {

using test::Route;
using test::unpacking::describe;

std::string contentsOf(stream::PackageReader& reader) {
    std::string contents(1, '\0');
    std::size_t size = 0;
    while (const std::size_t count = reader.read(contents.data() + size, contents.size() - size)) {
        size += count;
        contents.resize(size * 2);
    }
    contents.resize(size);
    return contents;
}

/// What the entries say that extraction makes, by path: type and contents as describe() tells them, without modes.
/// `failure` says why the package cannot be read.
std::map<std::string, std::string> promised(const std::string& bytes, std::string& failure) {
    std::map<std::string, std::string> tree;
    failure = test::reading(
        bytes, Route::file,
        [&](stream::PackageReader& reader) {
            stream::Entry entry;
            while (reader.next(entry)) {
                const std::string path = stream::plainPath(entry.path);
                const std::string target = tree[stream::plainPath(entry.linkTarget)];
                tree[path] = entry.type == stream::EntryType::file        ? "f " + contentsOf(reader)
                             : entry.type == stream::EntryType::directory ? "d "
                             : entry.type == stream::EntryType::symlink   ? "l " + entry.linkTarget
                                                                          : target;
            }
        },
        tightOptions());
    return tree;
}

std::string withoutMode(const std::string& description) {
    return description.empty() || description[0] == 'l'
               ? description
               : description.substr(0, 2) + (description.size() > 7 ? description.substr(7) : std::string());
}

std::string extracted(const std::string& bytes, const std::string& destination,
                      const stream::ExtractOptions& options) {
    return test::reading(
        bytes, Route::file, [&](stream::PackageReader& reader) { reader.extract(destination, options); },
        tightOptions(1 + static_cast<unsigned>(bytes.size() % 2)));
}

}  // namespace

/// Extraction makes what the listing says, below the destination alone, or fails; links that lead out do not
/// matter, whoever made them.
void runExtract(std::string_view input) {
    const std::string bytes(input);
    std::string failure;
    const auto tree = promised(bytes, failure);
    const Watched watched(Watched::Traps::set);

    stream::ExtractOptions options;
    options.dryRun = true;
    const std::string judged = extracted(bytes, watched.destination(), options);
    require(judged.empty() == failure.empty(), "a dry run takes what a listing takes",
            judged + "\n--\n" + failure);

    options.dryRun = false;
    options.sameOwner = input.size() % 3 == 0;
    options.keepSetId = input.size() % 5 == 0;
    const std::string outcome = extracted(bytes, watched.destination(), options);
    watched.check();
    require(!actsOnTerminals(outcome), "an error is one safe line", outcome);
    require(failure.empty() || !outcome.empty(), "what cannot be listed cannot be extracted", failure);
    for (const auto& [path, expected] : outcome.empty() ? tree : std::map<std::string, std::string>()) {
        if (!expected.empty()) {
            requireEqual(withoutMode(describe(watched.destination() + '/' + path)), expected,
                         "extraction makes what the listing says");
        }
    }
    options.stripComponents = 1;
    options.existing = bytes.size() % 2 == 0 ? stream::Existing::error : stream::Existing::keep;
    extracted(bytes, watched.destination(), options);
    test::reading(
        bytes, Route::file, [&](stream::PackageReader& reader) { reader.extractControl(watched.destination()); },
        tightOptions());
    watched.check();
}

}  // namespace bex::fuzz
