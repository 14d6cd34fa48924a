#pragma once

#include <CLI/App.hpp>
#include <functional>

#include "output/Context.hpp"

namespace bex::tool {

/// What a verb does once its arguments are understood.
using Action = std::function<ExitStatus(Context&)>;

/// Each adds its verb to the program. Where the user chose the verb, `chosen` is set to its work.
void addBuild(CLI::App& program, Action& chosen);
void addInfo(CLI::App& program, Action& chosen);
void addField(CLI::App& program, Action& chosen);
void addList(CLI::App& program, Action& chosen);
void addCat(CLI::App& program, Action& chosen);
void addExtract(CLI::App& program, Action& chosen);
void addVerify(CLI::App& program, Action& chosen);
void addDiff(CLI::App& program, Action& chosen);
void addShlibdeps(CLI::App& program, Action& chosen);

}  // namespace bex::tool
