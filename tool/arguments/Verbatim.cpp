#include "arguments/Verbatim.hpp"

#include <utility>

namespace bex::tool {

namespace {

// No argument of a process can hold a NUL, so that the mark is never a part of one.
constexpr char kMark = '\0';
constexpr const char* kEndOfVerb = "++";

}  // namespace

std::vector<std::string> verbatim(std::vector<std::string> arguments) {
    for (auto& argument : arguments) {
        const bool likeList = !argument.empty() && argument.front() == '[' && argument.back() == ']';
        if (likeList || argument == kEndOfVerb) {
            argument += kMark;
        }
    }
    return arguments;
}

std::string withoutMark(std::string argument) {
    if (!argument.empty() && argument.back() == kMark) {
        argument.pop_back();
    }
    return argument;
}

void takeVerbatim(CLI::App& app) {
    const auto unmark = [](std::string& argument) {
        argument = withoutMark(std::move(argument));
        return std::string();
    };
    for (CLI::Option* option : app.get_options([](const CLI::Option*) { return true; })) {
        option->transform(CLI::Validator(unmark, ""));
    }
}

}  // namespace bex::tool
