#include "stream/control/MemberOddities.hpp"

#include <algorithm>
#include <array>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

constexpr std::array<std::string_view, 5> kScripts{"preinst", "postinst", "prerm", "postrm", "config"};
constexpr std::string_view kMark = "#!";
constexpr std::string_view kProgram = "\177ELF";

}  // namespace

bool isMaintainerScript(std::string_view name) noexcept {
    return std::find(kScripts.begin(), kScripts.end(), name) != kScripts.end();
}

std::optional<Oddity> maintainerScriptOddity(std::string_view contents) {
    // The kernel runs it as it is.
    if (startsWith(contents, kProgram)) {
        return std::nullopt;
    }
    // Bounds the checks below to the first line, which is all that the kernel looks at. Where its last character
    // is asked for it is not empty: it begins with the mark.
    const std::string_view line = firstLine(contents);
    if (!startsWith(line, kMark)) {
        return Oddity{"script-no-interpreter", Severity::warning, "does not begin with \"#!\" and an interpreter"};
    }
    // The kernel takes it for a part of the interpreter's name or argument.
    if (line.back() == '\r') {
        return Oddity{"script-line-end", Severity::error, "the first line ends with a carriage return"};
    }
    if (line.size() == contents.size() && isBlank(line.back())) {
        // Linux then runs the interpreter with an empty argument, which sh takes for the name of a script.
        return Oddity{"script-line-end", Severity::error, "the only line ends with a blank and lacks its newline"};
    }
    // The kernel skips blanks on both sides and takes the rest for a path, which dpkg does not look up in PATH.
    const std::string_view interpreter = trimmed(line.substr(kMark.size()));
    if (interpreter.empty()) {
        return Oddity{"script-interpreter", Severity::error, "names no interpreter after \"#!\""};
    }
    if (interpreter.front() != '/') {
        return Oddity{"script-interpreter", Severity::error,
                      "the interpreter " + quoted(interpreter) + " is not an absolute path"};
    }
    return std::nullopt;
}

}  // namespace bex::stream
