#include <memory>
#include <string>
#include <vector>

#include "Input.hpp"
#include "Patterns.hpp"
#include "Verb.hpp"

namespace bex::tool {

namespace {

struct CatOptions {
    std::string package;
    std::vector<std::string> paths;
    bool control = false;
};

void printContents(stream::PackageReader& reader, Console& console) {
    std::vector<char> buffer(256 * 1024);
    for (std::size_t count = 0; (count = reader.read(buffer.data(), buffer.size())) > 0;) {
        console.out({buffer.data(), count});
    }
}

void printControl(const stream::PackageReader& reader, Patterns& patterns, Console& console) {
    for (const auto& member : reader.controlMembers()) {
        if (patterns.choose(member.entry)) {
            console.out(member.contents);
        }
    }
}

void printPayload(stream::PackageReader& reader, Patterns& patterns, Console& console) {
    for (stream::Entry entry; reader.next(entry);) {
        if (patterns.choose(entry)) {
            printContents(reader, console);
        }
    }
}

ExitStatus runCat(CatOptions& options, Context& context) {
    stream::PackageReader reader = openPackage(options.package, readOptions(context));
    Patterns patterns(options.paths);
    if (options.control) {
        printControl(reader, patterns, context.console);
    } else {
        printPayload(reader, patterns, context.console);
    }
    return reportUnused(patterns, context);
}

}  // namespace

void addCat(CLI::App& program, Action& chosen) {
    const auto options = std::make_shared<CatOptions>();
    CLI::App* verb = program.add_subcommand("cat", "Print the bytes of entries as they are");
    addPackageArgument(*verb, options->package);
    verb->add_option("PATH", options->paths, "Entries (glob), printed in the package's order")->required();
    verb->add_flag("--control", options->control, "Print control members instead");
    verb->footer("Example:\n  bex cat --control hello_1.0_amd64.bex postinst");
    onChosen(*verb, options, chosen, runCat);
}

}  // namespace bex::tool
