#include <string>
#include <vector>

#include "Failure.hpp"
#include "Target.hpp"
#include "bex/stream/StreamError.hpp"
#include "shlibs/base/Relation.hpp"
#include "shlibs/base/Version.hpp"
#include "shlibs/info/ShlibsFile.hpp"
#include "shlibs/info/SymbolsFile.hpp"

namespace bex::fuzz {
namespace {

void readLibrary(shlibs::SymbolsFile& file, const std::string& soname) {
    const shlibs::LibrarySymbols* library = file.find(soname);
    require(library != nullptr && !library->templates.empty(), "a library that is listed is found", soname);
    for (const auto& [name, line] : library->lines) {
        const auto since = library->find(name);
        require(since && since->version == line.version, "a symbol of the file is found", std::string(name));
        require(shlibs::compareVersions(library->smallest, line.version) <= 0,
                "no version is older than the oldest", std::string(line.version));
    }
    for (const char* symbol : {"nosuch@Base", "_ZN2ns1fEi@Base", "f@V2", "re_x@Base"}) {
        library->find(symbol);
    }
}

/// What is a list of relations is written so that it is read back the same.
void readRelations(std::string_view input) {
    std::vector<shlibs::Alternatives> relations = shlibs::parseRelations(input, "relations");
    for (const auto& one : relations) {
        const std::string text = shlibs::formatRelation(one);
        const auto again = shlibs::parseRelations(text, "again");
        require(again.size() == 1, "one relation stays one", text);
        requireEqual(text, shlibs::formatRelation(again.front()), "a relation is written as it is read");
    }
}

}  // namespace

/// Symbols file, shlibs file and dependencies share their input: the first two hold the last.
void runSymbols(std::string_view input) {
    std::vector<std::string> notes;
    std::vector<std::string> failures;
    failures.push_back(test::failureOf([&] {
        shlibs::SymbolsFile file(std::string(input), "symbols", "amd64", notes);
        for (const std::string& soname : file.sonames()) {
            failures.push_back(test::failureOf([&] { readLibrary(file, soname); }));
        }
    }));
    shlibs::dependencyFromShlibs(input, "libx.so.1", "shlibs", notes);
    failures.push_back(test::failureOf([&] { readRelations(input); }));
    failures.insert(failures.end(), notes.begin(), notes.end());
    for (const std::string& text : failures) {
        require(text.empty() || text.rfind("symbols:", 0) == 0 || text.rfind("shlibs:", 0) == 0 ||
                    text.rfind("relations:", 0) == 0,
                "an error names the file", text);
        require(!actsOnTerminals(text), "an error is one safe line", text);
    }
}

}  // namespace bex::fuzz
