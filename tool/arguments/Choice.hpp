#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bex::tool {

/// Adds an option that takes one of a few words; another one is answered with all of them.
/// `name` is "--long", "-s" or "-s,--long". `set` is called with
/// the value that the word stands for.
template <typename Value>
CLI::Option* addChoice(CLI::App& app, const std::string& name, const std::string& description,
                       std::vector<std::pair<std::string, Value>> choices, std::function<void(Value)> set) {
    const std::string shown = name.substr(name.find(',') + 1);
    const auto choose = [shown, choices = std::move(choices), set = std::move(set)](const std::string& word) {
        std::string words;
        for (const auto& [known, value] : choices) {
            if (known == word) {
                set(value);
                return;
            }
            words += (words.empty() ? "" : ", ") + known;
        }
        throw CLI::ValidationError(shown + " " + word, "takes one of " + words);
    };
    return app.add_option_function<std::string>(name, choose, description);
}

}  // namespace bex::tool
