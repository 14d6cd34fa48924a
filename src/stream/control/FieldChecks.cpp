#include "stream/control/FieldChecks.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Quoted.hpp"
#include "stream/control/FieldValues.hpp"
#include "stream/control/Relations.hpp"
#include "stream/control/Version.hpp"

namespace bex::stream {

namespace {

/// The rest of a sentence about the value, or nothing when the value is well formed.
using Check = std::string (*)(std::string_view value);

std::string dependenciesFault(std::string_view value) {
    return relationsFault(value, {});
}

std::string conflictsFault(std::string_view value) {
    return relationsFault(value, {false, false});
}

std::string providesFault(std::string_view value) {
    return relationsFault(value, {false, true});
}

/// dpkg notes these fields of installed packages; in a package they would forge its records.
std::string statusFault(std::string_view /*value*/) {
    return "may stand only among dpkg's installed packages";
}

constexpr struct {
    std::string_view field;
    Check check;
} checks[] = {
    {"Package", packageNameFault},       {"Version", versionFault},
    {"Architecture", architectureFault}, {"Maintainer", maintainerFault},
    {"Description", descriptionFault},   {"Source", sourceFault},
    {"Section", sectionFault},           {"Priority", priorityFault},
    {"Installed-Size", sizeFault},       {"Essential", booleanFault},
    {"Protected", booleanFault},         {"Multi-Arch", multiArchFault},
    {"Pre-Depends", dependenciesFault},  {"Depends", dependenciesFault},
    {"Recommends", dependenciesFault},   {"Suggests", dependenciesFault},
    {"Enhances", dependenciesFault},     {"Breaks", conflictsFault},
    {"Conflicts", conflictsFault},       {"Replaces", conflictsFault},
    {"Provides", providesFault},         {"Status", statusFault},
    {"Config-Version", statusFault},     {"Conffiles", statusFault},
    {"Triggers-Pending", statusFault},   {"Triggers-Awaited", statusFault},
};

constexpr std::string_view required[] = {"Package", "Version", "Architecture", "Maintainer", "Description"};

std::string valueFault(const ControlParagraph::Field& field) {
    const auto* known = std::find_if(std::begin(checks), std::end(checks), [&field](const auto& candidate) {
        return equalIgnoringCase(candidate.field, field.name);
    });
    if (!isUtf8(field.value)) {
        return "must be UTF-8";
    }
    return known == std::end(checks) ? "" : known->check(field.value);
}

/// The name as it stands in a sentence; one from a stranger may be of any length.
std::string shown(const std::string& name) {
    return name.size() <= 60 ? name : quoted(name);
}

/// One sentence, or nothing.
std::string faultOf(const ControlParagraph::Field& field) {
    if (field.name.size() == 1) {
        return "the field name " + quoted(field.name) + " is too short";
    }
    if (field.value.empty()) {
        return shown(field.name) + " is empty";
    }
    const std::string fault = valueFault(field);
    return fault.empty() ? "" : shown(field.name) + ' ' + quoted(field.value) + ' ' + fault;
}

/// Only all binary packages of one build may be installed side by side; one for every machine has nothing to
/// stand beside.
bool contradictsMultiArch(const ControlParagraph& paragraph) {
    const std::string* const architecture = paragraph.find("Architecture");
    const std::string* const multiArch = paragraph.find("Multi-Arch");
    return architecture != nullptr && *architecture == "all" && multiArch != nullptr &&
           equalIgnoringCase(*multiArch, "same");
}

}  // namespace

std::vector<std::string> faultsOf(const ControlParagraph& paragraph) {
    std::vector<std::string> faults;
    for (const std::string_view name : required) {
        if (paragraph.find(name) == nullptr) {
            faults.push_back(std::string(name) + " is missing");
        }
    }
    for (const ControlParagraph::Field& field : paragraph.fields()) {
        if (std::string fault = faultOf(field); !fault.empty()) {
            faults.push_back(std::move(fault));
        }
    }
    if (contradictsMultiArch(paragraph)) {
        faults.emplace_back("Multi-Arch \"same\" contradicts Architecture \"all\"");
    }
    return faults;
}

}  // namespace bex::stream
