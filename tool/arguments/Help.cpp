#include "arguments/Help.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace bex::tool {

namespace {

constexpr std::size_t kLineColumns = 80;
constexpr std::size_t kTextColumn = 22;

/// Words set in lines of at most 80 columns. The first word of `text` follows what `line` holds so far, at least
/// two blanks after it.
std::string wrapped(std::string line, const std::string& text, std::size_t indent) {
    std::string done;
    std::size_t begin = 0;
    bool lineHasText = false;
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find(' ', begin), text.size());
        const std::string word = text.substr(begin, end - begin);
        if (line.size() + (lineHasText ? 1 : 0) + word.size() > kLineColumns) {
            done += line + "\n";
            line.assign(indent, ' ');
            lineHasText = false;
        }
        line += (lineHasText ? " " : "") + word;
        lineHasText = true;
        begin = end + 1;
    }
    return done + line;
}

std::string row(const std::string& label, const std::string& text) {
    const std::string lines = wrapped("  ", label, 4);
    const std::size_t lastLine = lines.rfind('\n') == std::string::npos ? 0 : lines.rfind('\n') + 1;
    std::string last = lines.substr(lastLine);
    last.resize(std::max(last.size() + 2, kTextColumn), ' ');
    return lines.substr(0, lastLine) + wrapped(last, text, kTextColumn) + "\n";
}

std::string labelOf(const CLI::Option& option) {
    std::string label;
    for (const auto& name : option.get_snames()) {
        label += (label.empty() ? "-" : ", -") + name;
    }
    for (const auto& name : option.get_lnames()) {
        label += (label.empty() ? "--" : ", --") + name;
    }
    return label;
}

std::string optionRows(const CLI::App& app) {
    const auto options = app.get_options([&](const CLI::Option* option) {
        return !option->get_positional() && !(app.get_parent() != nullptr && option->check_lname("help"));
    });
    std::string rows;
    for (std::size_t i = 0; i < options.size(); ++i) {
        std::string label = labelOf(*options[i]);
        std::string value = options[i]->get_option_text();
        const std::string group = options[i]->get_group();
        const bool alone = group == "Options";
        while (!alone && i + 1 < options.size() && options[i + 1]->get_group() == group) {
            const std::string nextValue = options[++i]->get_option_text();
            label += (nextValue == value ? "" : " " + value) + ", " + labelOf(*options[i]);
            value = nextValue;
        }
        rows += row(value.empty() ? label : label + " " + value, alone ? options[i]->get_description() : group);
    }
    return rows;
}

std::vector<const CLI::Option*> positionals(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::string usageOf(const CLI::App& app) {
    if (app.get_parent() == nullptr) {
        const bool hasVerbs = !app.get_subcommands([](const CLI::App*) { return true; }).empty();
        return "Usage: " + app.get_name() + (hasVerbs ? " [OPTIONS] VERB ..." : " [OPTIONS] ACTION ...");
    }
    std::string usage = "Usage: " + app.get_parent()->get_name() + " " + app.get_name() + " [OPTIONS]";
    for (const auto* argument : positionals(app)) {
        const std::string name = argument->get_name(true) + (argument->get_items_expected_max() > 1 ? "..." : "");
        usage += " " + (argument->get_required() ? name : "[" + name + "]");
    }
    return usage;
}

}  // namespace

std::string helpText(const CLI::App& app) {
    const bool isVerb = app.get_parent() != nullptr;
    std::string text = usageOf(app) + "\n" + wrapped("", app.get_description(), 0) +
                       (isVerb ? ". Options for all verbs: bex --help\n\n" : ".\n\n");
    for (const auto* argument : positionals(app)) {
        text += row(argument->get_name(true), argument->get_description());
    }
    for (const auto* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
        text += row(verb->get_name(), verb->get_description());
    }
    return text + optionRows(app) + "\n" + app.get_footer() + "\n";
}

}  // namespace bex::tool
