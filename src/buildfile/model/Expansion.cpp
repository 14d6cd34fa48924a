#include "buildfile/model/Expansion.hpp"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "stream/base/Ascii.hpp"

namespace bex::buildfile {

namespace {

bool mayStandInName(char c) {
    return stream::isAlphanumeric(c) || c == '_';
}

bool isName(std::string_view text) {
    return !text.empty() && !stream::isDigit(text.front()) &&
           std::all_of(text.begin(), text.end(), mayStandInName);
}

/// Replaces variables in one pass: what a variable's value holds is never looked at again, so that a dollar in it
/// stays and nothing can grow without bound.
class Expander {
public:
    Expander(const Value& value, Expansion expansion, const std::string& file)
        : value_(value), text_(value.text), expansion_(expansion), file_(file) {}

    std::string run() {
        // Each round takes at least the dollar off the text, so the loop ends.
        for (std::size_t dollar = text_.find('$'); dollar != std::string_view::npos; dollar = text_.find('$')) {
            result_ += text_.substr(0, dollar);
            text_.remove_prefix(dollar + 1);
            takeDollar();
        }
        return result_ + std::string(text_);
    }

private:
    /// The dollar is taken already. "$$" is one dollar; a dollar that begins no variable stays as it is.
    void takeDollar() {
        if (!text_.empty() && text_.front() == '$') {
            text_.remove_prefix(1);
            result_ += '$';
        } else if (!text_.empty() && text_.front() == '{') {
            takeBraces();
        } else if (const std::string_view name = shellName(); !name.empty()) {
            text_.remove_prefix(name.size());
            result_ += valueOf(std::string(name));
        } else {
            result_ += '$';
        }
    }

    /// The name that follows the dollar without braces; "" where there is none or it does not count.
    std::string_view shellName() const {
        const auto end = std::find_if_not(text_.begin(), text_.end(), mayStandInName);
        const std::string_view name = text_.substr(0, static_cast<std::size_t>(end - text_.begin()));
        if (expansion_ != Expansion::shell || !isName(name)) {
            return {};
        }
        return name;
    }

    /// "${NAME}" or "${NAME:-default}". The default is plain text up to the first brace: there is no nesting.
    void takeBraces() {
        const std::size_t close = text_.find('}');
        if (close == std::string_view::npos) {
            fail(file_, value_.at, quotedText(value_.text) + ": no brace closes the one after a dollar");
        }
        const std::string_view inner = text_.substr(1, close - 1);
        const std::size_t mark = inner.find(":-");
        const std::string name(inner.substr(0, mark));
        if (!isName(name)) {
            fail(file_, value_.at, quotedText(name) + " is not the name of a variable; $$ stands for a dollar");
        }
        text_.remove_prefix(close + 1);
        if (mark == std::string_view::npos) {
            result_ += valueOf(name);
            return;
        }
        // As in a shell, ":-" takes the default for an empty variable too.
        const char* set = std::getenv(name.c_str());
        if (set != nullptr && *set != '\0') {
            result_ += set;
        } else {
            result_ += inner.substr(mark + 2);
        }
    }

    /// A variable that is not set is an error: it would otherwise become an empty field of the package.
    std::string valueOf(const std::string& name) const {
        const char* set = std::getenv(name.c_str());
        if (set == nullptr) {
            fail(file_, value_.at,
                 "the environment has no " + name + "; ${" + name +
                     ":-} stands for nothing then, and $$ for a dollar");
        }
        return set;
    }

    const Value& value_;
    std::string_view text_;  ///< what is still to read
    Expansion expansion_;
    const std::string& file_;
    std::string result_;
};

}  // namespace

std::string expanded(const Value& value, Expansion expansion, const std::string& file) {
    if (expansion == Expansion::none) {
        return value.text;
    }
    return Expander(value, expansion, file).run();
}

}  // namespace bex::buildfile
