#include "repo/suite/Settings.hpp"

#include <algorithm>

#include "bex/stream/Architecture.hpp"
#include "bex/stream/ControlReader.hpp"
#include "repo/base/Failure.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

constexpr struct {
    const char* field;
    std::string SuiteSettings::*value;
} kTexts[] = {{"Codename", &SuiteSettings::codename},
              {"Origin", &SuiteSettings::origin},
              {"Label", &SuiteSettings::label},
              {"Description", &SuiteSettings::description}};

constexpr struct {
    const char* field;
    std::vector<std::string> SuiteSettings::*words;
} kLists[] = {{"Components", &SuiteSettings::components}, {"Architectures", &SuiteSettings::architectures}};

StreamError unusable(const std::string& reason) {
    return failure(ErrorKind::invalidInput, "invalid-input", "", reason);
}

void check(const SuiteSettings& suite) {
    // The suite's name becomes a directory of dists/ and files in .bex.
    for (const auto& word : {suite.suite, suite.codename}) {
        if (!isPlainWord(word)) {  // guard: names of suites
            throw unusable(quoted(word) + " can't name a suite");
        }
    }
    for (const auto& [field, words] : kLists) {
        if ((suite.*words).empty()) {
            throw unusable(std::string(field) + " has to name at least one");
        }
        for (const std::string& word : suite.*words) {
            // "all" is no architecture of a suite but of packages, "source" and "by-hash" name other things in
            // these places.
            // guard: names of components
            if (!isPlainWord(word) || word == "all" || word == "source" || word == "by-hash") {
                throw unusable(std::string(field) + " can't hold " + quoted(word));
            }
        }
    }
    for (const auto& [field, value] : kTexts) {
        // A second line could be another field of the Release file.
        // guard: texts of suites that add a line
        if ((suite.*value).find_first_of("\n\r") != std::string::npos) {
            throw unusable(std::string(field) + " has to be one line");
        }
    }
}

SuiteSettings suiteOf(const stream::ControlParagraph& paragraph) {
    const auto value = [&](const char* field) {
        const std::string* found = paragraph.find(field);
        return found != nullptr ? *found : std::string();
    };
    SuiteSettings suite;
    suite.suite = value("Suite");
    for (const auto& [field, member] : kTexts) {
        suite.*member = value(field);
    }
    for (const auto& [field, member] : kLists) {
        suite.*member = wordsOf(value(field));
    }
    // Also for what is read: the file can be edited, and its words become paths.
    check(suite);
    return suite;
}

/// The words in their order, each once.
std::vector<std::string> unique(const std::vector<std::string>& words) {
    std::vector<std::string> kept;
    for (const std::string& word : words) {
        if (std::find(kept.begin(), kept.end(), word) == kept.end()) {
            kept.push_back(word);
        }
    }
    return kept;
}

/// What the caller left empty stays as it is: a second init changes only what it names.
void takeGiven(SuiteSettings& suite, const SuiteSettings& wanted) {
    for (const auto& [field, value] : kTexts) {
        if (!(wanted.*value).empty()) {
            suite.*value = wanted.*value;
        }
    }
    for (const auto& [field, words] : kLists) {
        if (!(wanted.*words).empty()) {
            suite.*words = unique(wanted.*words);
        }
    }
}

}  // namespace

std::vector<std::string> wordsOf(std::string_view text) {
    std::vector<std::string> words;
    stream::forEachPart(text, ' ', [&](std::string_view word) {
        if (!word.empty()) {
            words.emplace_back(word);
        }
    });
    return words;
}

std::string joined(const std::vector<std::string>& words, std::string_view separator) {
    std::string text;
    for (const std::string& word : words) {
        stream::appendPart(text, separator, word);
    }
    return text;
}

std::vector<SuiteSettings> readSettings(const Layout& layout) {
    const auto text = readFile(layout.settings());
    if (!text) {
        throw failure(ErrorKind::inputOutput, "input-output", layout.root(),
                      "is not a repository; bex repo init makes one");
    }
    std::vector<SuiteSettings> suites;
    auto reader = stream::ControlReader::ofText(*text, layout.settings());
    for (stream::ControlParagraph paragraph; reader.next(paragraph);) {
        suites.push_back(suiteOf(paragraph));
    }
    return suites;
}

void writeSettings(const Layout& layout, const std::vector<SuiteSettings>& suites, System& system) {
    std::string text;
    for (const SuiteSettings& suite : suites) {
        stream::ControlParagraph paragraph;
        paragraph.set("Suite", suite.suite);
        for (const auto& [field, value] : kTexts) {
            if (!(suite.*value).empty()) {
                paragraph.set(field, suite.*value);
            }
        }
        for (const auto& [field, words] : kLists) {
            paragraph.set(field, joined(suite.*words));
        }
        stream::appendPart(text, "\n", paragraph.format());
    }
    // An init that changes nothing leaves the file's time alone.
    if (readFile(layout.settings()) != text) {
        writeFile(layout.settings(), text, system);
    }
}

std::vector<SuiteSettings> withSuite(std::vector<SuiteSettings> suites, const SuiteSettings& wanted) {
    auto found = std::find_if(suites.begin(), suites.end(),
                              [&](const SuiteSettings& suite) { return suite.suite == wanted.suite; });
    if (found == suites.end()) {
        SuiteSettings fresh;
        fresh.suite = wanted.suite;
        fresh.codename = wanted.suite;
        fresh.components = {"main"};
        fresh.architectures = {std::string(stream::nativeArchitecture())};
        found = suites.insert(suites.end(), fresh);
    }
    takeGiven(*found, wanted);
    check(*found);
    return suites;
}

const SuiteSettings& findSuite(const std::vector<SuiteSettings>& suites, const std::string& name) {
    std::string known;
    for (const SuiteSettings& suite : suites) {
        // Without a name the only suite is meant; of several, none is the default.
        if (suite.suite == name || (name.empty() && suites.size() == 1)) {
            return suite;
        }
        stream::appendPart(known, ", ", suite.suite);
    }
    if (name.empty()) {
        throw unusable("which suite is meant? There are " + known);
    }
    throw unusable("there is no suite " + quoted(name) + ", only " + known);
}

std::string findComponent(const SuiteSettings& suite, const std::string& name) {
    if (name.empty()) {
        // The first one is the default; check() has refused settings without any.
        return suite.components.front();
    }
    if (std::find(suite.components.begin(), suite.components.end(), name) == suite.components.end()) {
        throw unusable("suite " + suite.suite + " has no component " + quoted(name) + ", only " +
                       joined(suite.components, ", "));
    }
    return name;
}

void requireArchitecture(const SuiteSettings& suite, const std::string& architecture, const std::string& file) {
    const auto& known = suite.architectures;
    if (architecture != "all" && std::find(known.begin(), known.end(), architecture) == known.end()) {
        throw failure(
            ErrorKind::invalidInput, "invalid-input", file,
            "is for " + quoted(architecture) + ", but suite " + suite.suite + " has only " + joined(known, ", "));
    }
}

}  // namespace bex::repo
