#pragma once

#include <CLI/App.hpp>
#include <charconv>
#include <functional>
#include <string>
#include <system_error>

namespace bex::tool {

/// Adds an option that takes a whole decimal number within the range of `Number`; `set` gets it. `name` is as for
/// addChoice().
template <typename Number>
CLI::Option* addNumber(CLI::App& app, const std::string& name, const std::string& description,
                       std::function<void(Number)> set) {
    const std::string shown = name.substr(name.find(',') + 1);
    const auto read = [shown, set = std::move(set)](const std::string& text) {
        Number number{};
        const char* end = text.data() + text.size();
        const auto parsed = std::from_chars(text.data(), end, number);
        if (parsed.ec != std::errc() || parsed.ptr != end) {
            throw CLI::ValidationError(shown, text + " is not a valid number");
        }
        set(number);
    };
    return app.add_option_function<std::string>(name, read, description)->option_text("N");
}

}  // namespace bex::tool
