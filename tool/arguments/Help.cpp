#include "arguments/Help.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include "stream/base/Text.hpp"

namespace bex::tool {

namespace {

// The narrowest terminal in use; help is the same on every terminal, and tests compare it.
constexpr std::size_t kLineColumns = 80;
constexpr std::size_t kTextColumn = 22;

/// Words set in lines of at most 80 columns. The first word of `text` follows what `line` holds so far, at least
/// two blanks after it.
std::string wrapped(std::string line, const std::string& text, std::size_t indent) {
    std::string done;
    const char* blank = "";  // before the next word of a line
    stream::forEachPart(text, ' ', [&](std::string_view word) {
        if (line.size() + std::strlen(blank) + word.size() > kLineColumns) {
            done += line + "\n";
            line.assign(indent, ' ');
            blank = "";
        }
        line.append(blank).append(word);
        blank = " ";
    });
    return done + line;
}

/// A label and its text in two columns. A long label takes lines of its own, and the text begins two blanks after
/// it.
std::string row(const std::string& label, const std::string& text) {
    const std::string lines = wrapped("  ", label, 4);
    const std::size_t lastLine = lines.rfind('\n') + 1;  // npos + 1 is 0
    std::string last = lines.substr(lastLine);
    last.resize(std::max(last.size() + 2, kTextColumn), ' ');
    return lines.substr(0, lastLine) + wrapped(last, text, kTextColumn) + "\n";
}

std::string labelOf(const CLI::Option& option) {
    std::string label;
    // Short names first, as in most programs' help.
    for (const auto& name : option.get_snames()) {
        stream::appendPart(label, ", ", "-" + name);
    }
    for (const auto& name : option.get_lnames()) {
        stream::appendPart(label, ", ", "--" + name);
    }
    return label;
}

std::string optionRows(const CLI::App& app) {
    // --help of a verb is the same as the program's, and the usage line says where that is.
    // Positional arguments have rows of their own before the options.
    const auto options = app.get_options([&](const CLI::Option* option) {
        return !option->get_positional() && !(app.get_parent() != nullptr && option->check_lname("help"));
    });
    std::string rows;
    for (std::size_t i = 0; i < options.size(); ++i) {
        std::string label = labelOf(*options[i]);
        std::string value = options[i]->get_option_text();
        const std::string group = options[i]->get_group();
        // Options of one group share a row and the group's name for a description.
        const bool alone = group == "Options";
        while (!alone && i + 1 < options.size() && options[i + 1]->get_group() == group) {
            // Of options with the same value one after the other, the value is shown once, after the last.
            const std::string nextValue = options[++i]->get_option_text();
            if (nextValue != value) {
                label += " " + value;
            }
            label += ", " + labelOf(*options[i]);
            value = nextValue;
        }
        stream::appendPart(label, " ", value);
        rows += row(label, alone ? options[i]->get_description() : group);
    }
    return rows;
}

std::vector<const CLI::Option*> positionals(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

/// Positional arguments that may be missing are in brackets, those that may come several times end in "...".
std::string usageOf(const CLI::App& app) {
    if (app.get_parent() == nullptr) {
        const bool hasVerbs = !app.get_subcommands([](const CLI::App*) { return true; }).empty();
        const char* const word = hasVerbs ? "VERB" : "ACTION";
        return "Usage: " + app.get_name() + " [OPTIONS] " + word + " ...";
    }
    std::string usage = app.get_name() + " [OPTIONS]";
    // From the inside out: each parent's name goes in front.
    for (const CLI::App* parent = app.get_parent(); parent != nullptr; parent = parent->get_parent()) {
        usage.insert(0, parent->get_name() + " ");
    }
    usage.insert(0, "Usage: ");
    if (!app.get_subcommands([](const CLI::App*) { return true; }).empty()) {
        usage += " VERB ...";
    }
    for (const auto* argument : positionals(app)) {
        std::string name = argument->get_name(true);
        if (argument->get_items_expected_max() > 1) {
            name += "...";
        }
        if (!argument->get_required()) {
            name = "[" + name + "]";
        }
        usage += " " + name;
    }
    return usage;
}

}  // namespace

std::string helpText(const CLI::App& app) {
    std::string text = usageOf(app) + "\n" + wrapped("", app.get_description(), 0) + ".";
    if (app.get_parent() != nullptr) {
        text += " Options for all verbs: bex --help";
    }
    text += "\n\n";
    for (const auto* argument : positionals(app)) {
        text += row(argument->get_name(true), argument->get_description());
    }
    // The filter admits all: without one only the verbs of this command line would be given.
    for (const auto* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
        text += row(verb->get_name(), verb->get_description());
    }
    return text + optionRows(app) + "\n" + app.get_footer() + "\n";
}

}  // namespace bex::tool
