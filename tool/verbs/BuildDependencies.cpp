#include "verbs/BuildDependencies.hpp"

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "verbs/Shlibs.hpp"

namespace bex::tool {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view variable = "${shlibs:Depends}";
constexpr const char* relationFields[] = {"Depends", "Pre-Depends", "Recommends", "Suggests", "Enhances"};

/// Whether the field asks for the dependencies; "auto" becomes the variable.
bool asks(stream::ControlParagraph& control, const char* field) {
    const std::string* value = control.find(field);
    if (value != nullptr && *value == "auto") {
        control.set(field, variable);
        return true;
    }
    return value != nullptr && value->find(variable) != std::string::npos;
}

bool isElf(const std::string& path) {
    char magic[4] = {};
    std::ifstream file(path, std::ios::binary);
    return file.read(magic, sizeof magic) && std::string_view(magic, sizeof magic) ==
                                                 "\x7f"
                                                 "ELF";
}

/// The tree, and what else is added from disk.
std::vector<std::string> payloadOf(const BuildArguments& arguments) {
    std::vector<std::string> inputs = {arguments.tree};
    for (const auto& addition : arguments.additions) {
        const std::string source = addition.substr(0, addition.rfind(':'));
        std::error_code failure;
        if (fs::is_directory(source, failure) || isElf(source)) {
            inputs.push_back(source);
        }
    }
    return inputs;
}

std::string replaced(std::string value, const std::string& dependencies) {
    for (std::size_t at = value.find(variable); at != std::string::npos;
         at = value.find(variable, at + dependencies.size())) {
        value.replace(at, variable.size(), dependencies);
    }
    return value;
}

/// The relations between commas without those that are empty.
std::string withoutEmpty(std::string_view value) {
    constexpr const char* blanks = " \t\n";
    std::string result;
    while (!value.empty()) {
        std::string_view part = value.substr(0, value.find(','));
        value.remove_prefix(part.size() < value.size() ? part.size() + 1 : part.size());
        const std::size_t begin = part.find_first_not_of(blanks);
        if (begin == std::string_view::npos) {
            continue;
        }
        part = part.substr(begin, part.find_last_not_of(blanks) + 1 - begin);
        result.append(result.empty() ? "" : ", ").append(part);
    }
    return result;
}

}  // namespace

ExitStatus fillDependencies(const BuildArguments& arguments, stream::ControlParagraph& control, Context& context) {
    std::vector<const char*> fields;
    for (const char* field : relationFields) {
        if (asks(control, field)) {
            fields.push_back(field);
        }
    }
    if (fields.empty()) {
        return ExitStatus::done;
    }
    shlibs::Request request = arguments.shlibs;
    request.inputs = payloadOf(arguments);
    request.onePackage = true;
    const std::string* architecture = control.find("Architecture");
    request.architecture = architecture != nullptr && *architecture != "all" ? *architecture : "";
    const shlibs::Report report = findDependencies(request, context);
    for (const char* field : fields) {
        const std::string value = withoutEmpty(replaced(*control.find(field), report.field()));
        if (value.empty()) {
            control.remove(field);
        } else {
            control.set(field, value);
        }
    }
    return reportMissing(report, context);
}

}  // namespace bex::tool
