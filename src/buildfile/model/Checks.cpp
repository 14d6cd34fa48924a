#include "buildfile/model/Checks.hpp"

#include <algorithm>
#include <iterator>

#include "bex/stream/Escape.hpp"
#include "bex/stream/Nearest.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

// YAML 1.1, which other readers of these files follow, has more words than 1.2.
constexpr std::string_view kTrueWords[] = {"true", "True", "TRUE", "yes", "Yes", "YES", "on", "On", "ON"};
constexpr std::string_view kFalseWords[] = {"false", "False", "FALSE", "no", "No", "NO", "off", "Off", "OFF"};

template <std::size_t size>
bool isOneOf(std::string_view word, const std::string_view (&words)[size]) {
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

// Keys of nfpm's first version, whose meanings `contents` has now.
constexpr std::string_view kFormerContents[] = {"files", "config_files", "empty_folders", "symlinks"};

/// The words of Key::words, which have single blanks between them.
std::vector<std::string> wordsOf(std::string_view list) {
    std::vector<std::string> words;
    stream::forEachPart(list, ' ', [&words](std::string_view word) { words.emplace_back(word); });
    return words;
}

/// Compares a document with the vocabulary, first fault first, in the order of the file. The YAML reader has
/// bounded the depth of values, so that recursion is bounded too.
class Checker {
public:
    explicit Checker(const std::string& file) : file_(file) {}

    /// `where` is the path of the map in messages, such as "deb.triggers".
    void checkMap(const Value& map, const Section& section, const std::string& where) {
        if (map.kind != Value::Kind::map) {
            fail(file_, map.at, where + " must be a map of keys and values");
        }
        for (const Member& member : map.members) {
            checkMember(member, section, where);
        }
    }

    std::vector<std::string> takeSkipped() { return std::move(skipped_); }

private:
    void checkMember(const Member& member, const Section& section, const std::string& where) {
        const Key* key = section.find(member.name);
        // Does not return: a key with a typing error would otherwise be a setting without effect.
        if (key == nullptr) {
            refuseUnknown(member, section, where);
        }
        // Keys of the top have no path before them. The name is known here, so that it needs no escaping.
        const std::string path = where == kTop ? member.name : where + "." + member.name;
        if (key->kind == KeyKind::foreign) {
            skipped_.push_back(path + " (line " + std::to_string(member.at.line) + ")");
            // "key:" without a value means the same as no key, and Value::find() passes over it.
        } else if (member.value.kind != Value::Kind::null) {
            checkValue(member.value, *key, path);
        }
    }

    [[noreturn]] void refuseUnknown(const Member& member, const Section& section, const std::string& where) const {
        std::vector<std::string> known;
        for (const Key& key : section) {
            known.emplace_back(key.name);
        }
        std::string meant = stream::nearest(member.name, known);
        if (where == kTop && isOneOf(member.name, kFormerContents)) {
            meant = "contents";
        }
        std::string reason = quotedText(member.name) + " is not a key of " + where;
        if (!meant.empty()) {
            reason += "; did you mean " + meant + "?";
        }
        fail(file_, member.at, reason);
    }

    void checkValue(const Value& value, const Key& key, const std::string& path) {
        switch (key.kind) {
            case KeyKind::text:
                requireText(value, path);
                break;
            case KeyKind::flag:
                requireText(value, path);
                if (!isOneOf(value.text, kTrueWords) && !isOneOf(value.text, kFalseWords)) {
                    fail(file_, value.at, path + " must be true or false, not " + quotedText(value.text));
                }
                break;
            case KeyKind::choice:
                requireText(value, path);
                requireChoice(value, value.text, key, path);
                break;
            case KeyKind::level:
                requireText(value, path);
                requireChoice(value, value.text.substr(0, value.text.find(':')), key, path);
                break;
            case KeyKind::texts:
                checkTexts(value, path);
                break;
            case KeyKind::textMap:
                checkTextMap(value, path);
                break;
            case KeyKind::section:
                checkMap(value, *key.section, path);
                break;
            case KeyKind::sections:
                checkSections(value, *key.section, path);
                break;
            case KeyKind::foreign:
                break;
        }
    }

    void requireText(const Value& value, const std::string& path) const {
        if (value.kind != Value::Kind::scalar) {
            fail(file_, value.at, path + " must be a text");
        }
    }

    void requireList(const Value& value, const std::string& path) const {
        if (value.kind != Value::Kind::list) {
            fail(file_, value.at, path + " must be a list");
        }
    }

    /// `given` is what of the value is compared, as it stands: variables of the environment are not expanded in
    /// choices. An empty text means the same as no key.
    void requireChoice(const Value& value, const std::string& given, const Key& key,
                       const std::string& path) const {
        const std::vector<std::string> words = wordsOf(key.words);
        if (value.text.empty() || std::find(words.begin(), words.end(), given) != words.end()) {
            return;
        }
        std::string list;
        for (const std::string& word : words) {
            stream::appendPart(list, ", ", word);
        }
        fail(file_, value.at, path + " " + quotedText(value.text) + " is not one of " + list);
    }

    void checkTexts(const Value& value, const std::string& path) const {
        requireList(value, path);
        for (const Value& item : value.items) {
            // An item without a value is an empty text, which lists leave out.
            if (item.kind != Value::Kind::null) {
                requireText(item, "each of " + path);
            }
        }
    }

    void checkTextMap(const Value& value, const std::string& path) const {
        if (value.kind != Value::Kind::map) {
            fail(file_, value.at, path + " must be a map of texts");
        }
        for (const Member& member : value.members) {
            if (member.value.kind != Value::Kind::null) {
                // The names of such a map are free, so they come from the file and are escaped.
                requireText(member.value, path + "." + stream::escapeForDisplay(member.name));
            }
        }
    }

    void checkSections(const Value& value, const Section& section, const std::string& path) {
        requireList(value, path);
        for (const Value& item : value.items) {
            checkMap(item, section, path);
        }
    }

public:
    static constexpr const char* kTop = "a build file";

private:
    // The caller's, for the length of one check.
    const std::string& file_;
    std::vector<std::string> skipped_;
};

}  // namespace

std::vector<std::string> checkDocument(const Value& document, const std::string& file) {
    Checker checker(file);
    checker.checkMap(document, documentSection(), Checker::kTop);
    return checker.takeSkipped();
}

/// checkDocument() has refused every word that is neither true nor false, so what is not true is false.
bool isTrue(const Value* flag, bool usual) noexcept {
    if (flag == nullptr) {
        return usual;
    }
    return isOneOf(flag->text, kTrueWords);
}

}  // namespace bex::buildfile
