#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "shlibs/info/SymbolPatterns.hpp"

namespace bex::shlibs {

/// What a symbols file says of one library.
struct LibrarySymbols {
    /// A symbol found: since when the library has it, and the template that its dependency follows.
    struct Since {
        std::string_view version;
        const std::string* dependencyTemplate = nullptr;
    };

    std::string soname;
    std::vector<std::string> templates;         ///< the main one, then the alternatives
    std::map<std::string, std::string> fields;  ///< such as "Build-Depends-Package"
    std::string_view smallest;                  ///< the oldest version of all symbols; empty where there is none

    /// Looks the symbol up as "name@version": its own line first, then patterns.
    std::optional<Since> find(std::string_view symbol) const;

    /// A line's version, and the number of its template.
    struct Line {
        std::string_view version;
        std::uint32_t templateNumber = 0;
    };
    std::unordered_map<std::string_view, Line> lines;
    SymbolPatterns patterns;
    std::vector<Line> patternLines;  ///< by the number that `patterns` gives
    /// The versions of all lines, few of which differ, and whether `smallest` takes each into account.
    std::unordered_map<std::string_view, bool> versions;
};

/// A symbols file: deb-symbols(5), with tags and patterns as deb-src-symbols(5) has them. A library's part is read
/// when it is first asked for. Neither copyable nor movable: the parts refer to the text.
class SymbolsFile {
public:
    /// `where` names the file in messages; symbols that are tagged for other architectures than the given one are
    /// left out. Lines that break the format are told to `notes`. Throws stream::StreamError (`damaged`).
    SymbolsFile(std::string text, std::string where, std::string architecture, std::vector<std::string>& notes);

    SymbolsFile(const SymbolsFile&) = delete;
    SymbolsFile& operator=(const SymbolsFile&) = delete;

    /// The library's part, or null where the file has none. Valid as long as this. Throws stream::StreamError
    /// (`damaged`).
    const LibrarySymbols* find(const std::string& soname);

    /// The libraries that the file has a part for.
    std::vector<std::string> sonames() const;

private:
    /// The lines that follow a header, which the first of them is.
    struct Part {
        std::string_view text;
        std::size_t firstLine;
    };
    struct Library {
        std::vector<Part> parts;
        std::optional<LibrarySymbols> symbols;
    };

    void indexParts();
    void read(const Part& part, LibrarySymbols& into);
    void readHeader(std::string_view line, LibrarySymbols& into);
    void readSymbol(std::string_view line, std::size_t number, LibrarySymbols& into);
    void checkTemplates(const LibrarySymbols& library) const;

    std::string text_;
    std::string where_;
    std::string architecture_;
    std::vector<std::string>& notes_;
    std::unordered_map<std::string, Library> libraries_;
};

}  // namespace bex::shlibs
