#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <optional>
#include <string>

#include "stream/base/Text.hpp"

namespace bex::tool {

/// Adds an option that takes a whole decimal number within the range of `Number`; `set` gets it. `name` is as for
/// addChoice().
template <typename Number>
CLI::Option* addNumber(CLI::App& app, const std::string& name, const std::string& description,
                       std::function<void(Number)> set) {
    const std::string shown = name.substr(name.find(',') + 1);
    const auto read = [shown, set = std::move(set)](const std::string& text) {
        const std::optional<Number> number = stream::parseWhole<Number>(text);
        if (!number) {
            throw CLI::ValidationError(shown, text + " is not a valid number");
        }
        set(*number);
    };
    return app.add_option_function<std::string>(name, read, description)->option_text("N");
}

}  // namespace bex::tool
