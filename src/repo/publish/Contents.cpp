#include "repo/publish/Contents.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/PackageReader.hpp"
#include "stream/base/StringSink.hpp"
#include "stream/base/Text.hpp"
#include "stream/base/WorkPool.hpp"

namespace bex::repo {

namespace {

struct Job {
    std::string path;
    std::vector<std::string> paths;  ///< of everything in the payload but directories
};

/// The packages of each path.
using Labels = std::map<std::string, std::vector<std::string>, std::less<>>;

/// "SECTION/NAME", or "NAME" for a package without a section. Blanks and commas separate what a line has, so that
/// a section with one of them is left out.
std::string labelOf(const Stanza& package) {
    const auto paragraph = stream::ControlParagraph::parse(package.text, package.package);
    const std::string* section = paragraph.find("Section");
    const bool isPlain = section != nullptr && section->find_first_of(" \t\n,") == std::string::npos;
    return (isPlain ? *section + "/" : std::string()) + std::string(package.package);
}

/// Reads the packages, several at once.
Labels labelsOf(const Layout& layout, const std::vector<Stanza>& packages, unsigned threads) {
    Labels labels;
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
    return labels;
}

void writeLine(std::string_view path, std::vector<std::string>& labels, stream::Sink& out) {
    if (labels.empty()) {
        return;  // all packages with this path have gone
    }
    std::sort(labels.begin(), labels.end());
    labels.erase(std::unique(labels.begin(), labels.end()), labels.end());  // several versions of one package
    std::string line(path);
    for (const std::string& label : labels) {
        line.append(&label == &labels.front() ? " " : ",").append(label);
    }
    line += '\n';
    out.write(line.data(), line.size());
}

/// The packages of a line of the index before, but for those that changed.
std::vector<std::string> unchangedOf(std::string_view list, const ContentsBefore& before) {
    std::vector<std::string> labels;
    stream::forEachPart(list, ',', [&](std::string_view label) {
        if (before.changed.count(label.substr(label.rfind('/') + 1)) == 0) {  // npos + 1 is 0
            labels.emplace_back(label);
        }
    });
    return labels;
}

/// Merges the index before, which is sorted, with the paths of the packages that were read. False where a line is
/// not one of ours: then nothing that was written counts.
bool merge(const ContentsBefore& before, Labels& added, stream::Sink& out) {
    auto next = added.begin();
    std::string_view last;
    bool isSound = true;
    stream::forEachLine(before.text, [&](std::string_view line) {
        const std::size_t blank = line.rfind(' ');
        const std::string_view path = line.substr(0, blank);
        if (blank == std::string_view::npos || path <= last) {
            isSound = isSound && line.empty();
            return;
        }
        last = path;
        for (; next != added.end() && next->first < path; ++next) {
            writeLine(next->first, next->second, out);
        }
        std::vector<std::string> labels = unchangedOf(line.substr(blank + 1), before);
        if (next != added.end() && next->first == path) {
            labels.insert(labels.end(), next->second.begin(), next->second.end());
            ++next;
        }
        writeLine(path, labels, out);
    });
    for (; next != added.end(); ++next) {
        writeLine(next->first, next->second, out);
    }
    return isSound;
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

void writeContents(const Layout& layout, const std::vector<Stanza>& packages,
                   const std::optional<ContentsBefore>& before, unsigned threads, stream::Sink& out) {
    if (before) {
        std::vector<Stanza> changed;
        std::copy_if(packages.begin(), packages.end(), std::back_inserter(changed),
                     [&](const Stanza& package) { return before->changed.count(package.package) != 0; });
        Labels labels = labelsOf(layout, changed, threads);
        stream::StringSink merged;
        if (merge(*before, labels, merged)) {
            out.write(merged.bytes.data(), merged.bytes.size());
            return;
        }
    }
    Labels all = labelsOf(layout, packages, threads);
    for (auto& [path, labels] : all) {
        writeLine(path, labels, out);
    }
}

}  // namespace bex::repo
