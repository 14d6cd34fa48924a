#include "buildfile/scripts/ShellScript.hpp"

#include <algorithm>
#include <cstddef>
#include <sstream>

#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

/// The words of a script's first line after "#!".
std::vector<std::string> firstLine(const std::string& text) {
    std::vector<std::string> words;
    if (!stream::startsWith(text, "#!")) {
        return words;
    }
    // Without a newline, npos minus 2 is still more than the text has, and substr() takes all of it.
    std::istringstream line(text.substr(2, text.find('\n') - 2));
    for (std::string word; line >> word;) {
        words.push_back(word);
    }
    return words;
}

/// Index of the shell among the words: env(1) may stand before it. The number of words where there is none.
std::size_t shellAt(const std::vector<std::string>& words) {
    // The kernel hands at most one argument to an interpreter: a shell is the first word, or the second after env.
    for (std::size_t i = 0; i < words.size() && i < 2; ++i) {
        const std::string name = words[i].substr(words[i].rfind('/') + 1);
        if (name == "sh" || name == "bash" || name == "dash") {
            return i;
        }
        if (name != "env") {
            break;
        }
    }
    return words.size();
}

}  // namespace

// Within single quotes a shell takes every character as it is but the quote, which ends them: it is put between
// two such words with a backslash.
std::string shellWord(const std::string& text) {
    std::string word = "'";
    for (const char c : text) {
        if (c == '\'') {
            word += "'\\''";
        } else {
            word += c;
        }
    }
    return word + "'";
}

std::string shellWords(const std::vector<std::string>& words) {
    std::string list;
    for (const std::string& word : words) {
        stream::appendPart(list, " ", shellWord(word));
    }
    return list;
}

bool ShellScript::isShellScript(const std::string& text) {
    const std::vector<std::string> words = firstLine(text);
    return shellAt(words) < words.size();
}

ShellScript::ShellScript(const std::string& text) {
    const std::vector<std::string> words = firstLine(text);
    // Within range: isShellScript() is true of the text.
    const std::size_t shell = shellAt(words);
    interpreter_.clear();
    for (std::size_t i = 0; i <= shell; ++i) {
        stream::appendPart(interpreter_, " ", words[i]);
    }
    for (std::size_t i = shell + 1; i < words.size(); ++i) {
        stream::appendPart(flags_, " ", words[i]);
    }
    // A text of one line without a newline leaves nothing; it is not empty, since it begins with "#!".
    own_ = text.substr(std::min(text.find('\n'), text.size() - 1) + 1);
    // The closing parenthesis that follows must be on a line of its own.
    if (!own_.empty() && own_.back() != '\n') {
        own_ += '\n';
    }
}

std::string ShellScript::text() const {
    if (before_.empty() && after_.empty() && own_.empty()) {
        return "";
    }
    // "set -e" holds for the steps, each of which guards itself where it may fail. The own part begins without it,
    // as it would alone, unless its flags ask for it; the subshell's status then ends the script.
    std::string script = "#!" + interpreter_ + "\nset -e\n" + before_;
    if (!own_.empty()) {
        script += "\n# The package's own script.\n(\nset +e\n";
        if (!flags_.empty()) {
            script += "set " + flags_ + "\n";
        }
        script += own_ + ")\n";
    }
    return script + after_;
}

}  // namespace bex::buildfile
