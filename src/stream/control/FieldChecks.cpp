#include "stream/control/FieldChecks.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/control/FieldValues.hpp"
#include "stream/control/Relations.hpp"

namespace bex::stream {

namespace {

/// Returns the rest of a sentence about the value, or nothing when the value is sound.
using Check = std::string (*)(std::string_view value);

template <const RelationRules& rules>
std::string relationFieldFault(std::string_view value) {
    return relationsFault(value, rules);
}

constexpr Check dependsFault = relationFieldFault<kDependsRules>;
constexpr Check conflictsFault = relationFieldFault<kConflictsRules>;
constexpr Check providesFault = relationFieldFault<kProvidesRules>;
constexpr Check builtUsingFault = relationFieldFault<kBuiltUsingRules>;

/// dpkg writes these fields into its records of installed packages; in a package they would forge its records.
std::string statusFault(std::string_view /*value*/) {
    return "is allowed only among dpkg's installed packages";
}

constexpr struct {
    std::string_view field;
    Check check;
} kChecks[] = {
    {"Package", packageNameFault},     {"Version", versionFault},         {"Architecture", architectureFault},
    {"Maintainer", maintainerFault},   {"Description", descriptionFault}, {"Source", sourceFault},
    {"Section", sectionFault},         {"Priority", priorityFault},       {"Installed-Size", sizeFault},
    {"Essential", booleanFault},       {"Protected", booleanFault},       {"Build-Essential", booleanFault},
    {"Multi-Arch", multiArchFault},    {"Pre-Depends", dependsFault},     {"Depends", dependsFault},
    {"Recommends", dependsFault},      {"Suggests", dependsFault},        {"Enhances", dependsFault},
    {"Breaks", conflictsFault},        {"Conflicts", conflictsFault},     {"Replaces", conflictsFault},
    {"Provides", providesFault},       {"Built-Using", builtUsingFault},  {"Static-Built-Using", builtUsingFault},
    {"Status", statusFault},           {"Config-Version", statusFault},   {"Conffiles", statusFault},
    {"Triggers-Pending", statusFault}, {"Triggers-Awaited", statusFault},
};

/// dpkg takes the first two for blanks and the third, ^Z, for the end of the file.
constexpr std::string_view kMisread = "\v\f\x1A";

constexpr std::string_view kRequired[] = {"Package", "Version", "Architecture", "Maintainer", "Description"};

std::string valueFault(const ControlParagraph::Field& field) {
    // Linear: the table is short, and each field is looked up once.
    const auto* known = std::find_if(std::begin(kChecks), std::end(kChecks), [&field](const auto& candidate) {
        return equalIgnoringCase(candidate.field, field.name);
    });
    // First, because the checks below may cut characters apart, and the fields without a check need it, too.
    if (!isUtf8(field.value)) {
        return "must be UTF-8";
    }
    if (const std::size_t at = field.value.find_first_of(kMisread); at != std::string::npos) {
        return "holds " + quoted(field.value.substr(at, 1)) + ", which dpkg does not read as text";
    }
    // Fields that are not in the table may hold any text.
    if (known == std::end(kChecks)) {
        return {};
    }
    return known->check(field.value);
}

constexpr std::size_t kLongestShownName = 60;

/// The name as a sentence shows it; one from a stranger may be of any length.
std::string shown(const std::string& name) {
    if (name.size() <= kLongestShownName) {
        return name;
    }
    return quoted(name);
}

/// One sentence, or nothing.
std::string faultOf(const ControlParagraph::Field& field) {
    if (field.name.size() == 1) {
        return "the field name " + quoted(field.name) + " is too short";
    }
    // Before valueFault(): the checks of values read the first character without asking.
    if (field.value.empty()) {
        return shown(field.name) + " is empty";
    }
    std::string fault = valueFault(field);
    // Quoted, and so shortened: a value may be of any length.
    if (!fault.empty()) {
        fault = shown(field.name) + ' ' + quoted(field.value) + ' ' + fault;
    }
    return fault;
}

/// "same" means that packages of several architectures can be installed together; "all" has only one.
bool contradictsMultiArch(const ControlParagraph& paragraph) {
    const std::string* const architecture = paragraph.find("Architecture");
    const std::string* const multiArch = paragraph.find("Multi-Arch");
    return architecture != nullptr && *architecture == "all" && multiArch != nullptr &&
           equalIgnoringCase(*multiArch, "same");
}

}  // namespace

std::vector<std::string> missingFieldsOf(const ControlParagraph& paragraph) {
    std::vector<std::string> missing;
    for (const std::string_view name : kRequired) {
        if (paragraph.find(name) == nullptr) {
            missing.emplace_back(name);
        }
    }
    return missing;
}

std::vector<std::string> ControlParagraph::faults() const {
    // What is missing comes first, then the fields' faults in their order.
    std::vector<std::string> faults = missingFieldsOf(*this);
    for (std::string& name : faults) {
        name += " is missing";
    }
    for (const Field& field : fields_) {
        if (std::string fault = faultOf(field); !fault.empty()) {
            faults.push_back(std::move(fault));
        }
    }
    if (contradictsMultiArch(*this)) {
        faults.emplace_back("Multi-Arch \"same\" contradicts Architecture \"all\"");
    }
    return faults;
}

}  // namespace bex::stream
