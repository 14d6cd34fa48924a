#pragma once

#include <CLI/App.hpp>
#include <cstddef>
#include <functional>

#include "arguments/Verbatim.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// What a verb does once its arguments are understood.
using Action = std::function<ExitStatus(Context&)>;

/// A verb. addOptions() sets the action that runs when the verb is chosen.
struct Command {
    const char* name;
    const char* description;
    void (*addOptions)(CLI::App* verb, Action& chosen);
};

/// Adds a verb without its options: only the verb that is chosen gets them, because to make those of all verbs
/// takes longer than to read a field. The references must outlive the parsing.
inline void addVerb(CLI::App& parent, const Command& command, Action& chosen) {
    CLI::App* verb = parent.add_subcommand(command.name, command.description);
    // Called when the verb is met and before its arguments are read.
    verb->preparse_callback([verb, &command, &chosen](std::size_t) {
        command.addOptions(verb, chosen);
        takeVerbatim(*verb);
    });
}

/// Each adds the arguments and options of its verb to `verb`. Where the command line is right, `chosen` is set to
/// the verb's work.
void addBuild(CLI::App* verb, Action& chosen);
void addInfo(CLI::App* verb, Action& chosen);
void addField(CLI::App* verb, Action& chosen);
void addList(CLI::App* verb, Action& chosen);
void addCat(CLI::App* verb, Action& chosen);
void addExtract(CLI::App* verb, Action& chosen);
void addVerify(CLI::App* verb, Action& chosen);
void addDiff(CLI::App* verb, Action& chosen);
void addEdit(CLI::App* verb, Action& chosen);
void addFilter(CLI::App* verb, Action& chosen);
void addRepack(CLI::App* verb, Action& chosen);
void addInit(CLI::App* verb, Action& chosen);
void addSchema(CLI::App* verb, Action& chosen);
void addShlibdeps(CLI::App* verb, Action& chosen);
void addReport(CLI::App* verb, Action& chosen);
void addRepo(CLI::App* verb, Action& chosen);

}  // namespace bex::tool
