#include <stdexcept>
#include <string>

#include "Failure.hpp"
#include "Target.hpp"
#include "buildfile/contents/Glob.hpp"
#include "buildfile/model/Description.hpp"
#include "buildfile/scripts/ShellScript.hpp"

namespace bex::fuzz {
namespace {

/// What a description says, as far as it has texts of its own.
std::string summaryOf(const std::string& text) {
    const buildfile::Description description = buildfile::readDescription(text, "x.yaml");
    std::string summary = description.control.format() + description.triggers + description.strip;
    for (const buildfile::Content& content : description.contents) {
        summary += content.source.path + '\n' + content.destination + '\n';
    }
    return summary;
}

/// A pattern and, in the lines behind it, paths: whatever lies below a directory that is passed over does not
/// match.
void matchLines(std::string_view input) {
    std::size_t end = input.find('\n');
    buildfile::Glob glob(std::string(input.substr(0, end)));
    while (end != std::string_view::npos) {
        input.remove_prefix(end + 1);
        end = input.find('\n');
        const std::string path(input.substr(0, end));
        for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
             slash = path.find('/', slash + 1)) {
            const std::string directory = path.substr(0, slash);
            require(!glob.takes(path) || glob.takes(directory) || glob.mayBeBelow(directory),
                    "a match lies where the search goes", path);
        }
    }
}

}  // namespace

/// A build file, without what it names on disk, and the patterns and scripts that it leads to.
void runBuildFile(std::string_view input) {
    const std::string text(input);
    std::string summary;
    const std::string failure = test::failureOf([&] { summary = summaryOf(text); });
    require(failure.empty() || failure.rfind("x.yaml", 0) == 0, "an error names the file", failure);
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    if (failure.empty()) {
        requireEqual(summary, summaryOf(text), "a build file says the same again");
    }
    try {
        matchLines(input);
    } catch (const std::length_error&) {  // braces beyond the limit
    }
    if (buildfile::ShellScript::isShellScript(text)) {
        buildfile::ShellScript script(text);
        script.addBefore("before\n");
        script.addAfter("after\n");
        const std::string joined = script.text();
        require(joined.rfind("#!", 0) == 0 && joined.find("before\n") < joined.find("after\n"),
                "steps stand around the own part", joined);
    }
}

}  // namespace bex::fuzz
