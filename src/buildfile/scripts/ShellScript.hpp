#pragma once

#include <string>
#include <vector>

namespace bex::buildfile {

/// The text as one word of a shell's command line, in single quotes.
std::string shellWord(const std::string& text);

/// The words, each as shellWord() has it, with blanks between them.
std::string shellWords(const std::vector<std::string>& words);

/// A maintainer script that a shell runs, taken apart so that steps can be put before and after it.
class ShellScript {
public:
    /// Whether sh, bash or dash runs the script.
    static bool isShellScript(const std::string& text);

    ShellScript() = default;
    /// `text` is a script of which isShellScript() is true.
    explicit ShellScript(const std::string& text);

    void addBefore(const std::string& step) { before_ += step; }
    void addAfter(const std::string& step) { after_ += step; }

    /// The whole script; the own part runs in a subshell, so that an "exit" in it ends that part alone, and a
    /// failure of it ends the script with its status. "" where there is no part at all.
    std::string text() const;

private:
    std::string interpreter_ = "/bin/sh";
    std::string flags_;  ///< those of the own script's first line, without "-"
    std::string own_;    ///< without its first line
    std::string before_;
    std::string after_;
};

}  // namespace bex::buildfile
