#include <algorithm>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "Target.hpp"
#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/ControlReader.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/Pattern.hpp"
#include "bex/stream/Relation.hpp"
#include "bex/stream/Version.hpp"

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

void checkVersion(std::string_view text) {
    stream::Version version;
    const std::string failure = test::failureOf([&] { version = stream::Version::parse(text); });
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    if (!failure.empty()) {
        return;
    }
    const std::string shown = version.format();
    const stream::Version again = stream::Version::parse(shown);
    requireEqual(shown, again.format(), "a version is read back as it is written");
    require(version == again && !(version < again) && !(version > again), "a version equals itself", shown);
}

/// Two versions, one a line, compare alike from either side.
void compareVersions(std::string_view first, std::string_view second) {
    stream::Version a;
    stream::Version b;
    const auto read = [&] {
        a = stream::Version::parse(first);
        b = stream::Version::parse(second);
    };
    if (test::failureOf(read).empty()) {
        require((a < b) == (b > a) && (a == b) == (b == a) && !(a < b && b < a), "an order has two sides",
                a.format());
    }
}

void checkRelations(std::string_view text) {
    std::vector<stream::Alternatives> groups;
    const std::string failure = test::failureOf([&] { groups = stream::parseRelations(text); });
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    if (!failure.empty()) {
        return;
    }
    const std::string shown = stream::formatRelations(groups);
    requireEqual(shown, stream::formatRelations(stream::parseRelations(shown)), "relations are read back");
    for (const stream::Alternatives& group : groups) {
        for (const stream::Relation& relation : group) {
            stream::Candidate candidate;
            candidate.name = relation.package;
            candidate.architecture = "amd64";
            candidate.version = relation.bound.value_or(stream::VersionBound{}).version;
            stream::RelationScope scope;
            scope.native = "amd64";
            scope.unqualifiedMeansAny = true;
            const bool strict = relation.bound && !relation.bound->admits(candidate.version);
            require(!relation.architecture.empty() || relation.satisfiedBy(candidate, scope) != strict,
                    "a package of that name and version satisfies a relation", shown);
        }
    }
}

/// All paragraphs, and what ended the reading; `step` bytes are handed over at a time.
std::string paragraphsOf(std::string_view text, std::size_t step) {
    stream::ControlReader reader(
        [&](char* buffer, std::size_t size) {
            const std::size_t count = text.copy(buffer, std::min(size, step));
            text.remove_prefix(count);
            return count;
        },
        "p: control");
    std::string result;
    const std::string failure = test::failureOf([&] {
        for (ControlParagraph paragraph; reader.next(paragraph);) {
            result += textOf(paragraph) + '\n';
        }
    });
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    return result + failure;
}

void checkPattern(std::string_view pattern, const std::string& path) {
    const stream::Pattern read(pattern);
    requireEqual(read.text(), stream::Pattern(read.text()).text(), "a pattern's text is the pattern");
    require(read.matches(read.text()), "a pattern matches itself", read.text());
    require(!read.matches(path) || read.matchesAtOrAbove(path), "what matches, matches at or above", path);
    require(!read.matches(path) || read.matchesAtOrAbove(path + "/x"), "what matches, holds what is below", path);
}

/// The parsers for single values: what they read is written so that it is read back the same.
void checkValues(std::string_view input) {
    const std::size_t end = std::min(input.find('\n'), input.size());
    const std::string_view first = input.substr(0, end);
    const std::string_view second = input.substr(std::min(end + 1, input.size()));
    checkVersion(first);
    compareVersions(first, second);
    checkRelations(first);
    checkPattern(first, stream::plainPath(second));
    requireEqual(paragraphsOf(input, 1), paragraphsOf(input, input.size() + 1), "pieces of any size read alike");
}

}  // namespace

/// What was read is written so that it is read back the same, and can be set field by field.
void runControl(std::string_view input) {
    checkValues(input);
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
