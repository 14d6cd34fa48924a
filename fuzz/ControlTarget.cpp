#include "Failure.hpp"
#include "Target.hpp"
#include "bex/stream/ControlParagraph.hpp"

namespace bex::fuzz {
namespace {

using stream::ControlParagraph;

std::string textOf(const ControlParagraph& paragraph) {
    std::string text;
    for (const ControlParagraph::Field& field : paragraph.fields()) {
        text += std::to_string(field.name.size()) + field.name + std::to_string(field.value.size()) + field.value;
    }
    return text;
}

}  // namespace

/// What was read is written so that it is read back the same, and can be set field by field.
void runControl(std::string_view input) {
    ControlParagraph read;
    const std::string failure = test::failureOf([&] { read = ControlParagraph::parse(input, "p: control"); });
    require(failure.empty() || failure.rfind("p: control:", 0) == 0, "an error names the text", failure);
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    if (!failure.empty()) {
        return;
    }
    const std::string again = read.format();
    requireEqual(textOf(read), textOf(ControlParagraph::parse(again, "again")), "what is written is read back");
    requireEqual(again, ControlParagraph::parse(again, "again").format(), "writing is stable");
    ControlParagraph built;
    for (const ControlParagraph::Field& field : read.fields()) {
        built.set(field.name, field.value);
        require(*built.find(field.name) == field.value, "a field that was set is found", field.name);
    }
    requireEqual(textOf(read), textOf(built), "what was read can be set");
    for (const std::string& fault : read.faults()) {
        require(!actsOnTerminals(fault), "a fault is one safe line", fault);
    }
}

}  // namespace bex::fuzz
