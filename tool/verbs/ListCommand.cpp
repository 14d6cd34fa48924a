#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "output/Json.hpp"
#include "output/Text.hpp"
#include "stream/base/Text.hpp"
#include "verbs/Input.hpp"
#include "verbs/Patterns.hpp"
#include "verbs/Tree.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::Entry;

namespace {

struct ListArguments {
    std::string package;
    std::vector<std::string> patterns;
    bool detailed = false;
    bool tree = false;
    bool nulEnds = false;
    bool control = false;
    bool index = false;
};

/// A path for people and columns, or for programs as it is.
std::string shownPath(const std::string& path, const ListArguments& arguments) {
    if (arguments.nulEnds) {
        return path;
    }
    return stream::escapeForDisplay(path);
}

/// Five cells, and a sixth for a link: withArrow() relies on it.
std::vector<std::string> cells(const Entry& entry, const ListArguments& arguments) {
    std::vector<std::string> row = {
        modeText(entry), stream::escapeForDisplay(ownerOf(entry) + "/" + groupOf(entry)),
        std::to_string(entry.size), isoTime(entry.mtime), shownPath(entry.path, arguments)};
    if (!entry.linkTarget.empty()) {
        row.push_back(shownPath(entry.linkTarget, arguments));
    }
    return row;
}

/// Prints entries as they come; only what needs all of them, the tree and columns on a terminal, waits for the
/// end.
class Listing {
public:
    Listing(const ListArguments& arguments, Context& context) : options_(arguments), context_(context) {}

    void add(const Entry& entry) {
        if (context_.json) {
            entries_.push_back(jsonOf(entry));
        } else if (options_.tree) {
            tree_.add(entry);
        } else if (!options_.detailed) {
            context_.console.out(shownPath(entry.path, options_) + lineEnd());
            // Columns for people need the widest cell of all; programs get tabs, and memory stays constant.
        } else if (context_.console.outIsTerminal() && !options_.nulEnds) {
            rows_.push_back(withArrow(cells(entry, options_)));
        } else {
            context_.console.out(tabbed(cells(entry, options_)) + lineEnd());
        }
    }

    /// Call once, after the last entry.
    void finish() {
        if (context_.json) {
            Json object = {{"schema", 1}};
            putText(object, "package", options_.package);
            if (options_.index) {
                object["source"] = "index";
            }
            object["entries"] = std::move(entries_);
            context_.console.out(jsonText(object));
        }
        // Both are empty in every other form of output.
        context_.console.out(tree_.text());
        context_.console.out(alignedTable(rows_, {2}));
    }

private:
    // NUL is the one byte that no path holds, so that paths need no escaping before it.
    char lineEnd() const { return options_.nulEnds ? '\0' : '\n'; }

    static std::string tabbed(const std::vector<std::string>& row) {
        std::string line;
        for (const auto& cell : row) {
            stream::appendPart(line, "\t", cell);
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

    const ListArguments& options_;
    Context& context_;
    Json entries_ = Json::array();
    Tree tree_;
    std::vector<std::vector<std::string>> rows_;
};

/// Calls `use` with each entry in the package's order, from the source that the options name.
template <typename Use>
void forEachEntry(const ListArguments& arguments, Context& context, Use use) {
    if (arguments.index) {
        const stream::IndexedPackage package = openIndexed(arguments.package, readOptions(context), context);
        for (std::size_t i = 0; i < package.size(); ++i) {
            use(package.at(i).entry);
        }
        return;
    }
    if (arguments.control) {
        // The control archive stands before the payload, of which nothing is read.
        const stream::PackageReader reader = openFront(arguments.package, readOptions(context), context);
        for (const auto& member : reader.controlMembers()) {
            use(member.entry);
        }
        return;
    }
    stream::PackageReader reader = openWhole(arguments.package, readOptions(context), context);
    for (Entry entry; reader.next(entry);) {
        use(entry);
    }
}

ExitStatus runList(ListArguments& arguments, Context& context) {
    Patterns patterns(arguments.patterns);
    Listing listing(arguments, context);
    forEachEntry(arguments, context, [&](const Entry& entry) {
        if (patterns.choose(entry)) {
            listing.add(entry);
        }
    });
    listing.finish();
    return reportUnused(patterns, arguments.package, context);
}

}  // namespace

void addList(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<ListArguments>();
    addPackageArgument(*verb, arguments->package);
    verb->add_option("PATTERN", arguments->patterns,
                     "Only what matches (glob; a directory means everything in it)");
    CLI::Option* detailed =
        verb->add_flag("-l,--long", arguments->detailed, "Mode, owner, size, time, path, link target");
    CLI::Option* tree = verb->add_flag("--tree", arguments->tree, "Draw the tree")->excludes(detailed);
    verb->add_flag("-0,--null", arguments->nulEnds, "End each line with NUL and escape nothing")->excludes(tree);
    CLI::Option* control = verb->add_flag("--control", arguments->control, "List the control members instead");
    addIndexOption(*verb, arguments->index)->excludes(control);
    verb->footer("Example: bex list --long hello_1.0_amd64.bex 'usr/share/*'");
    onChosen(*verb, arguments, chosen, runList);
}

}  // namespace bex::tool
