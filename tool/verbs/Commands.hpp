#pragma once

#include <CLI/App.hpp>
#include <functional>

#include "output/Context.hpp"

namespace bex::tool {

/// What a verb does once its arguments are understood.
using Action = std::function<ExitStatus(Context&)>;

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
