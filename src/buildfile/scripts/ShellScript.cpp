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
    if (text.compare(0, 2, "#!") != 0) {
        return words;
    }
    std::istringstream line(text.substr(2, text.find('\n') - 2));
    for (std::string word; line >> word;) {
        words.push_back(word);
    }
    return words;
}

/// Index of the shell among the words: env(1) may stand before it. The number of words where there is none.
std::size_t shellAt(const std::vector<std::string>& words) {
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
    const std::size_t shell = shellAt(words);
    interpreter_.clear();
    for (std::size_t i = 0; i <= shell; ++i) {
        stream::appendPart(interpreter_, " ", words[i]);
    }
    for (std::size_t i = shell + 1; i < words.size(); ++i) {
        stream::appendPart(flags_, " ", words[i]);
    }
    own_ = text.substr(std::min(text.find('\n'), text.size() - 1) + 1);
    if (!own_.empty() && own_.back() != '\n') {
        own_ += '\n';
    }
}

std::string ShellScript::text() const {
    if (before_.empty() && after_.empty() && own_.empty()) {
        return "";
    }
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
