#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <string>

#include "Commands.hpp"

namespace bex::tool {

/// Lets `chosen` run the verb's work on the options it was given, once the command line was understood.
template <typename Options>
void onChosen(CLI::App& verb, const std::shared_ptr<Options>& options, Action& chosen,
              ExitStatus (*work)(Options&, Context&)) {
    verb.callback([options, &chosen, work] {
        chosen = [options, work](Context& context) { return work(*options, context); };
    });
}

/// The positional argument for one package.
inline void addPackageArgument(CLI::App& verb, std::string& package) {
    verb.add_option("PKG", package, "The package; - is standard input")->required();
}

}  // namespace bex::tool
