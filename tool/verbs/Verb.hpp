#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <string>

#include "verbs/Commands.hpp"

namespace bex::tool {

/// Lets `chosen` run the verb's work on the arguments it was given, once the command line was understood.
template <typename Arguments>
void onChosen(CLI::App& verb, const std::shared_ptr<Arguments>& arguments, Action& chosen,
              ExitStatus (*work)(Arguments&, Context&)) {
    verb.callback([arguments, &chosen, work] {
        chosen = [arguments, work](Context& context) { return work(*arguments, context); };
    });
}

/// The positional argument for one package.
inline void addPackageArgument(CLI::App& verb, std::string& package) {
    verb.add_option("PKG", package, "The package or its URL; - is standard input")->required();
}

}  // namespace bex::tool
