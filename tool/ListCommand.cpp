#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Input.hpp"
#include "Json.hpp"
#include "Patterns.hpp"
#include "Text.hpp"
#include "Tree.hpp"
#include "Verb.hpp"
#include "bex/stream/Escape.hpp"

namespace bex::tool {

using stream::Entry;

namespace {

struct ListOptions {
    std::string package;
    std::vector<std::string> patterns;
    bool detailed = false;
    bool tree = false;
    bool nulEnds = false;
    bool control = false;
};

/// A path for people and columns, or for programs as it is.
std::string shownPath(const std::string& path, const ListOptions& options) {
    return options.nulEnds ? path : stream::escapeForDisplay(path);
}

std::vector<std::string> cells(const Entry& entry, const ListOptions& options) {
    const std::string owner = entry.owner.empty() ? std::to_string(entry.uid) : entry.owner;
    const std::string group = entry.group.empty() ? std::to_string(entry.gid) : entry.group;
    std::vector<std::string> row = {modeText(entry), stream::escapeForDisplay(owner + "/" + group),
                                    std::to_string(entry.size), isoTime(entry.mtime),
                                    shownPath(entry.path, options)};
    if (!entry.linkTarget.empty()) {
        row.push_back(shownPath(entry.linkTarget, options));
    }
    return row;
}

/// Prints entries as they come; only what needs all of them, the tree and columns on a terminal, waits for the
/// end.
class Listing {
public:
    Listing(const ListOptions& options, Context& context) : options_(options), context_(context) {}

    void add(const Entry& entry) {
        if (context_.json) {
            entries_.push_back(jsonOf(entry));
        } else if (options_.tree) {
            tree_.add(entry);
        } else if (!options_.detailed) {
            context_.console.out(shownPath(entry.path, options_) + lineEnd());
        } else if (context_.console.outIsTerminal() && !options_.nulEnds) {
            rows_.push_back(withArrow(cells(entry, options_)));
        } else {
            context_.console.out(tabbed(cells(entry, options_)) + lineEnd());
        }
    }

    void finish() {
        if (context_.json) {
            Json object = {{"schema", 1}};
            putText(object, "package", options_.package);
            object["entries"] = std::move(entries_);
            context_.console.out(jsonText(object));
        }
        context_.console.out(tree_.text());
        context_.console.out(alignedTable(rows_, {2}));
    }

private:
    char lineEnd() const { return options_.nulEnds ? '\0' : '\n'; }

    static std::string tabbed(const std::vector<std::string>& row) {
        std::string line;
        for (const auto& cell : row) {
            line.append(line.empty() ? "" : "\t").append(cell);
        }
        return line;
    }

    static std::vector<std::string> withArrow(std::vector<std::string> row) {
        if (row.size() == 6) {
            row[4] += " -> " + row[5];
            row.pop_back();
        }
        return row;
    }

    const ListOptions& options_;
    Context& context_;
    Json entries_ = Json::array();
    Tree tree_;
    std::vector<std::vector<std::string>> rows_;
};

template <typename Use>
void forEachEntry(const ListOptions& options, Context& context, Use use) {
    stream::PackageReader reader = openPackage(options.package, readOptions(context));
    if (options.control) {
        for (const auto& member : reader.controlMembers()) {
            use(member.entry);
        }
        return;
    }
    for (Entry entry; reader.next(entry);) {
        use(entry);
    }
}

ExitStatus runList(ListOptions& options, Context& context) {
    Patterns patterns(options.patterns);
    Listing listing(options, context);
    forEachEntry(options, context, [&](const Entry& entry) {
        if (patterns.choose(entry)) {
            listing.add(entry);
        }
    });
    listing.finish();
    return reportUnused(patterns, options.package, context);
}

}  // namespace

void addList(CLI::App& program, Action& chosen) {
    const auto options = std::make_shared<ListOptions>();
    CLI::App* verb = program.add_subcommand("list", "List the payload");
    addPackageArgument(*verb, options->package);
    verb->add_option("PATTERN", options->patterns,
                     "Only what matches (glob; a directory stands for all below it)");
    CLI::Option* detailed =
        verb->add_flag("-l,--long", options->detailed, "Mode, owner, size, time, path, link target");
    CLI::Option* tree = verb->add_flag("--tree", options->tree, "Draw the tree")->excludes(detailed);
    verb->add_flag("-0,--null", options->nulEnds, "End each line with NUL and escape nothing")->excludes(tree);
    verb->add_flag("--control", options->control, "List the control members instead");
    verb->footer("Example: bex list --long hello_1.0_amd64.bex 'usr/share/*'");
    onChosen(*verb, options, chosen, runList);
}

}  // namespace bex::tool
