#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "stream/base/Text.hpp"
#include "verbs/Input.hpp"
#include "verbs/dpkg/Actions.hpp"

namespace bex::tool {

using stream::ControlMember;
using stream::PackageReader;

namespace {

// The widths of dpkg-deb's own buffers, beyond which its output cuts names and interpreters.
constexpr std::size_t kInterpreterBytes = 125;
constexpr std::size_t kShownBytes = 127;

/// "#!/bin/sh" of a script whose first line is "#! /bin/sh -e"; "" for what is not a script.
std::string interpreterOf(std::string_view text) {
    if (text.substr(0, 2) != "#!") {
        return "";
    }
    text.remove_prefix(std::min(text.find_first_not_of(' ', 2), text.size()));
    const std::string_view program = text.substr(0, text.find_first_of(" \t\n\v\f\r"));
    return "#!" + std::string(program.substr(0, kInterpreterBytes - 2));
}

/// Meant: a line feed that is the first byte, or follows a "#" that is, is not counted. dpkg-deb reads the first
/// two bytes as those of an interpreter's line.
std::size_t linesOf(std::string_view text) {
    std::size_t looked = 1;
    if (text.substr(0, 1) == "#") {
        looked = 2;
    }
    text.remove_prefix(std::min(looked, text.size()));
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::string memberLine(const ControlMember& member) {
    const std::string name = stream::plainPath(member.entry.path);
    // dpkg-deb's columns; "*" marks what its owner may execute.
    return fmt::format(" {:7} bytes, {:5} lines   {}  {:<20.127} {}\n", member.contents.size(),
                       linesOf(member.contents), (member.entry.mode & 0100U) != 0 ? '*' : ' ', name,
                       interpreterOf(member.contents).substr(0, kShownBytes));
}

/// Each line after a blank; a last line without its end gets one.
std::string indented(std::string_view text) {
    std::string result;
    stream::forEachLine(text, [&](std::string_view line) { result.append(" ").append(line).append("\n"); });
    return result;
}

/// As the system has it: 0 for a pipe.
off_t bytesOf(const std::string& package) {
    struct stat status {};
    const int result = package == "-" ? fstat(STDIN_FILENO, &status) : stat(package.c_str(), &status);
    if (result != 0) {
        return 0;
    }
    return status.st_size;
}

std::uint64_t controlArchiveBytes(const PackageReader& reader) {
    const auto& members = reader.members();
    // "control.tar" and the ending of its compression: deb(5).
    const auto found = std::find_if(members.begin(), members.end(), [](const stream::Member& member) {
        return member.name.rfind("control.tar", 0) == 0;
    });
    if (found == members.end()) {
        return 0;
    }
    return found->size;
}

std::string summaryOf(const PackageReader& reader, off_t packageBytes) {
    std::vector<const ControlMember*> members;
    for (const auto& member : reader.controlMembers()) {
        members.push_back(&member);
    }
    // By name, as dpkg-deb lists them: the archive may have them in any order.
    std::sort(members.begin(), members.end(), [](const ControlMember* a, const ControlMember* b) {
        return stream::plainPath(a->entry.path) < stream::plainPath(b->entry.path);
    });
    std::string text =
        fmt::format(" new Debian package, version 2.0.\n size {} bytes: control archive={} bytes.\n", packageBytes,
                    controlArchiveBytes(reader));
    for (const auto* member : members) {
        text += memberLine(*member);
    }
    // The reader has refused a package without this member.
    return text + indented(reader.findControlMember("control")->contents);
}

/// Prints the members in the order they are asked for; those that are missing are an error at the end.
ExitStatus printMembers(const PackageReader& reader, const std::vector<std::string>& arguments, Context& context) {
    std::size_t missing = 0;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const ControlMember* member = reader.findControlMember(stream::plainPath(arguments[i]));
        if (member != nullptr) {
            context.console.out(member->contents);
            continue;
        }
        ++missing;
        // What was printed so far comes before the error, also where both go to one file.
        context.console.flush();
        context.console.error(nameInMessages(arguments.front()) + ": there is no control member " +
                              stream::escapeForDisplay(arguments[i]));
    }
    return missing == 0 ? ExitStatus::done : ExitStatus::usage;
}

}  // namespace

ExitStatus dpkgInfo(const DpkgRequest& request, Context& context) {
    PackageReader reader = openPackage(request.arguments.front(), readOptions(context));
    if (request.arguments.size() > 1) {
        return printMembers(reader, request.arguments, context);
    }
    context.console.out(summaryOf(reader, bytesOf(request.arguments.front())));
    return ExitStatus::done;
}

}  // namespace bex::tool
