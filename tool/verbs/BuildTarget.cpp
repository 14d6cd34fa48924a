#include "verbs/BuildTarget.hpp"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>
#include <system_error>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "stream/base/Ascii.hpp"

namespace bex::tool {

namespace fs = std::filesystem;

namespace {

using Words = std::map<std::string, std::string>;

/// What the words in braces stand for. Nothing will be written under the name of a paragraph with faults: the
/// writer refuses it with all of them.
Words wordsOf(const stream::ControlParagraph& control) {
    if (!control.faults().empty()) {
        return {{"name", "unnamed"}, {"version", "0"}, {"arch", "all"}};
    }
    // Without its epoch: find() gives npos where there is none, and npos + 1 is 0.
    const std::string& version = *control.find("Version");
    return {{"name", *control.find("Package")},
            {"version", version.substr(version.find(':') + 1)},
            {"arch", *control.find("Architecture")}};
}

/// Braces around anything but a lower-case word are left as they are.
std::string expanded(const std::string& out, const Words& words) {
    std::string result;
    std::size_t begin = 0;
    for (std::size_t open = out.find('{'); open != std::string::npos; open = out.find('{', open + 1)) {
        // Values are not looked at again: a name that holds braces stays as it is.
        const std::size_t close = out.find('}', open);
        if (close == std::string::npos || close == open + 1) {
            continue;
        }
        const std::string word = out.substr(open + 1, close - open - 1);
        if (!std::all_of(word.begin(), word.end(), stream::isLowerCase)) {
            continue;
        }
        const auto known = words.find(word);
        if (known == words.end()) {
            throw UsageError("OUT " + stream::escapeForDisplay(out) + ": {" + word +
                             "} is not one of {name}, {version} and {arch}");
        }
        result += out.substr(begin, open - begin) + known->second;
        begin = close + 1;
    }
    return result + out.substr(begin);
}

void requireWord(const std::string& suffix) {
    // The length is given, since NUL is one of the characters: none of them may come into a file's name.
    if (suffix.empty() || suffix.find_first_of(std::string("/\n\0", 3)) != std::string::npos) {
        throw UsageError("--suffix " + stream::escapeForDisplay(suffix) + ": takes a word such as deb");
    }
}

}  // namespace

std::string targetPath(const std::string& out, const std::string& suffix,
                       const stream::ControlParagraph& control) {
    // Checked even where the suffix is not used, so that a wrong one never goes unnoticed.
    requireWord(suffix);
    if (out == "-") {
        return "";
    }
    const Words words = wordsOf(control);
    const std::string usual = expanded("{name}_{version}_{arch}." + suffix, words);
    const std::string path = expanded(out, words);
    std::error_code failure;
    if (path.empty()) {
        return usual;
    }
    return fs::is_directory(path, failure) ? (fs::path(path) / usual).string() : path;
}

}  // namespace bex::tool
