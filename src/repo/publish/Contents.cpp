#include "repo/publish/Contents.hpp"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/PackageReader.hpp"
#include "stream/base/WorkPool.hpp"

namespace bex::repo {

namespace {

struct Job {
    std::string path;
    std::vector<std::string> paths;  ///< of everything in the payload but directories
};

/// "SECTION/NAME", or "NAME" for a package without a section.
std::string labelOf(const Stanza& package) {
    const auto paragraph = stream::ControlParagraph::parse(package.text, package.package);
    const std::string* section = paragraph.find("Section");
    return (section != nullptr ? *section + "/" : std::string()) + std::string(package.package);
}

}  // namespace

std::vector<std::string> pathsOf(const std::string& package) {
    stream::ReadOptions reading;
    reading.threads = 1;  // packages side by side
    stream::PackageReader reader(package, reading);
    std::vector<std::string> paths;
    for (stream::Entry entry; reader.next(entry);) {
        // An index has one path a line; a newline within a path would make two entries of one.
        const bool isListed =
            entry.type != stream::EntryType::directory && entry.path.find('\n') == std::string::npos;
        if (isListed) {
            // The index writes paths without "./" or "/" at the beginning.
            paths.push_back(stream::plainPath(entry.path));
        }
    }
    return paths;
}

std::string contentsOf(const Layout& layout, const std::vector<Stanza>& packages, unsigned threads) {
    std::map<std::string, std::vector<std::string>> labels;  // of each path
    // The pool gives jobs back in the order in which they were submitted, so that a counter finds the package of
    // each.
    std::size_t taken = 0;
    stream::WorkPool<Job> pool(threads, stream::jobsInFlight(threads),
                               [] { return [](Job& job) { job.paths = pathsOf(job.path); }; });
    const auto take = [&] {
        const std::string label = labelOf(packages[taken++]);
        for (std::string& path : pool.front().paths) {
            labels[std::move(path)].push_back(label);
        }
        pool.pop();
    };
    for (const Stanza& package : packages) {
        if (pool.full()) {
            take();
        }
        // The whole job is replaced: the slot still has the paths of a package that was taken.
        pool.next() = {layout.below(std::string(package.filename)), {}};
        pool.submit();
    }
    while (!pool.empty()) {
        take();
    }
    std::string text;
    for (auto& [path, names] : labels) {
        std::sort(names.begin(), names.end());
        names.erase(std::unique(names.begin(), names.end()), names.end());  // several versions of one package
        text.append(path).append(" ");
        for (std::size_t i = 0; i < names.size(); ++i) {
            text.append(i == 0 ? "" : ",").append(names[i]);
        }
        text += '\n';
    }
    return text;
}

}  // namespace bex::repo
