#include "shlibs/info/SymbolsFile.hpp"

#include <algorithm>
#include <utility>

#include "shlibs/base/Architecture.hpp"
#include "shlibs/base/Failure.hpp"
#include "shlibs/base/Relation.hpp"
#include "shlibs/base/TextFile.hpp"
#include "shlibs/base/Version.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

constexpr bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

/// A line of a symbol: tags, name, version, number of the template.
struct TaggedSymbol {
    Tags tags;
    std::string symbol;
    std::string_view version;
    std::uint32_t templateNumber = 0;
};

/// "(tag|tag=value)" off the front of the line; false where it does not end.
bool takeTags(std::string_view& line, Tags& tags) {
    if (line.empty() || line.front() != '(') {
        return true;
    }
    const std::size_t end = line.find(')');
    if (end == std::string_view::npos) {
        return false;
    }
    std::string_view rest = line.substr(1, end - 1);
    line.remove_prefix(end + 1);
    // Each round takes the tag and the sign after it, so the loop ends also where tags are empty.
    while (!rest.empty()) {
        const std::string_view tag = rest.substr(0, rest.find('|'));
        rest.remove_prefix(std::min(tag.size() + 1, rest.size()));
        const std::size_t equals = std::min(tag.find('='), tag.size());
        tags.emplace_back(tag.substr(0, equals), tag.substr(std::min(equals + 1, tag.size())));
    }
    return !tags.empty();
}

/// A tagged symbol may stand in quotes, which "@version" may follow; any other ends at the first blank.
bool takeSymbol(std::string_view& line, bool tagged, std::string& symbol) {
    if (tagged && !line.empty() && (line.front() == '"' || line.front() == '\'')) {
        const std::size_t end = line.find(line.front(), 1);
        if (end == std::string_view::npos) {
            return false;
        }
        symbol = line.substr(1, end - 1);
        line.remove_prefix(end + 1);
    }
    const std::string_view plain = line.substr(0, line.find_first_of(" \t"));
    // Of a quoted name this is what follows the closing quote, such as "@Base" or nothing.
    symbol += plain;
    line.remove_prefix(plain.size());
    return !symbol.empty();
}

/// Reads the line; false where it breaks the format.
bool parse(std::string_view line, TaggedSymbol& result) {
    if (!takeTags(line, result.tags) || !takeSymbol(line, !result.tags.empty(), result.symbol)) {
        return false;
    }
    // The rest of the line is the version, and perhaps the number of a template: deb-symbols(5).
    result.version = nextWord(line);
    const std::string_view number = nextWord(line);
    if (!number.empty()) {
        const auto parsed = stream::parseWhole<std::uint32_t>(number);
        if (!parsed) {
            return false;
        }
        result.templateNumber = *parsed;
    }
    return !result.version.empty();
}

/// Whether a line with these tags counts for the architecture. Other tags do not restrict it.
bool isFor(const Tags& tags, std::string_view architecture) {
    return std::all_of(tags.begin(), tags.end(), [architecture](const auto& tag) {
        const auto& [name, value] = tag;
        if (name == "arch") {
            return concerns(value, architecture);
        }
        if (name == "arch-bits") {
            return value == std::to_string(bitsOf(architecture));
        }
        return name != "arch-endian" || (value == "little") == isLittleEndian(architecture);
    });
}

}  // namespace

std::optional<LibrarySymbols::Since> LibrarySymbols::find(std::string_view symbol) const {
    // checkTemplates() has seen that every line's number is in range.
    const auto given = [this](const Line& line) { return Since{line.version, &templates[line.templateNumber]}; };
    if (const auto found = lines.find(symbol); found != lines.end()) {
        return given(found->second);
    }
    if (patterns.empty()) {
        return std::nullopt;
    }
    const std::optional<std::size_t> pattern = patterns.find(symbol);
    if (!pattern) {
        return std::nullopt;
    }
    // A line was added with each pattern, in the same order, so the number is in range.
    return given(patternLines[*pattern]);
}

SymbolsFile::SymbolsFile(std::string text, std::string where, std::string architecture,
                         std::vector<std::string>& notes)
    : text_(std::move(text)), where_(std::move(where)), architecture_(std::move(architecture)), notes_(notes) {
    indexParts();
}

/// A header is a line that begins neither with a blank nor with one of the signs of other lines.
void SymbolsFile::indexParts() {
    // Parts are views of text_, which does not change; libraries are parsed only when one of them is asked for.
    std::string_view rest = text_;
    std::vector<Part>* current = nullptr;
    std::size_t number = 0;
    // The begin of the current part. A part grows line by line; empty lines and comments within it are inside too.
    const char* begin = nullptr;
    for (std::string_view line; stream::nextLine(rest, line);) {
        ++number;
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == '(' && line.find("#include") != std::string_view::npos) {
            throw damaged(where_, "#include belongs to source packages", number);
        }
        // As dpkg reads it, also with a parenthesis at the front: tags are for symbols, which follow a blank.
        const bool isHeader = !isBlank(line.front()) && line.front() != '|' && line.front() != '*';
        if (isHeader) {
            std::string_view words = line;
            // The pointer stays valid: the map moves no values when it grows.
            current = &libraries_[std::string(nextWord(words))].parts;
            current->push_back({line, number});
            begin = line.data();
        } else if (current == nullptr) {
            throw damaged(where_, "stands before the first library", number);
        } else {
            Part& part = current->back();
            part.text = {begin, static_cast<std::size_t>(line.data() + line.size() - begin)};
        }
    }
}

/// In no particular order, as the map has none.
std::vector<std::string> SymbolsFile::sonames() const {
    std::vector<std::string> names;
    for (const auto& [name, library] : libraries_) {
        names.push_back(name);
    }
    return names;
}

const LibrarySymbols* SymbolsFile::find(const std::string& soname) {
    const auto found = libraries_.find(soname);
    if (found == libraries_.end()) {
        return nullptr;
    }
    Library& library = found->second;
    // A package may list thousands of libraries, of which a program needs a few.
    if (!library.symbols) {
        LibrarySymbols symbols;
        symbols.soname = soname;
        symbols.patterns = SymbolPatterns(where_);
        for (const Part& part : library.parts) {
            read(part, symbols);
        }
        checkTemplates(symbols);
        library.symbols = std::move(symbols);
    }
    // The value never moves: it lies in the map, which neither grows nor shrinks after the constructor.
    return &*library.symbols;
}

void SymbolsFile::read(const Part& part, LibrarySymbols& into) {
    std::string_view rest = part.text;
    // The number in front is the part's own: messages count lines of the whole file.
    std::size_t number = part.firstLine;
    for (std::string_view line; stream::nextLine(rest, line); ++number) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        // deb-symbols(5): the first character decides what kind of line it is.
        if (isBlank(line.front())) {
            readSymbol(trimmed(line), number, into);
        } else if (line.front() == '|') {
            into.templates.emplace_back(trimmed(line.substr(1)));
        } else if (line.front() == '*') {
            const std::size_t colon = std::min(line.find(':'), line.size());
            into.fields[std::string(trimmed(line.substr(1, colon - 1)))] =
                trimmed(line.substr(std::min(colon + 1, line.size())));
        } else {
            readHeader(line, into);
        }
    }
}

/// A header that comes again replaces the templates and keeps the symbols.
void SymbolsFile::readHeader(std::string_view line, LibrarySymbols& into) {
    // Past the library's name, which indexParts() has read; the dependency is what remains.
    nextWord(line);
    if (trimmed(line).empty()) {
        notes_.push_back(
            damaged(where_, "gives no dependency for " + stream::escapeForDisplay(into.soname)).what());
    }
    into.templates.assign(1, std::string(trimmed(line)));
    into.fields.clear();
}

void SymbolsFile::readSymbol(std::string_view line, std::size_t number, LibrarySymbols& into) {
    TaggedSymbol found;
    if (!parse(line, found)) {
        notes_.push_back(damaged(where_, "is not a line of a symbols file", number).what());
        return;
    }
    // A file has thousands of symbols and few versions: each version is parsed and compared once.
    const auto [version, isNew] = into.versions.try_emplace(found.version, false);
    if (isNew && !isVersion(found.version)) {
        throw damaged(where_, "\"" + stream::escapeForDisplay(found.version) + "\" is not a version", number);
    }
    // After the checks: a broken line is reported for every architecture.
    if (!isFor(found.tags, architecture_)) {
        return;
    }
    constexpr std::string_view oldPattern = "*@";  // The deprecated form of (symver|optional).
    const LibrarySymbols::Line value{found.version, found.templateNumber};
    if (found.tags.empty() && stream::startsWith(found.symbol, oldPattern)) {
        found.symbol.erase(0, oldPattern.size());
        found.tags.emplace_back("symver", "");
    }
    // Patterns do not count for the smallest version below: they need not match any symbol.
    if (SymbolPatterns::arePattern(found.tags)) {
        into.patterns.add(found.symbol, found.tags, number);
        into.patternLines.push_back(value);
        return;
    }
    // An untagged name lies in the text as it is; of a tagged one that may hold for its plain form only.
    const std::size_t at = line.find(found.symbol);
    if (at == std::string_view::npos) {
        notes_.push_back(damaged(where_, "has a quoted name that is not a pattern", number).what());
        return;
    }
    // The key must be a view of the file's text, since `found` ends here. Of two equal lines the later one counts.
    into.lines[line.substr(at, found.symbol.size())] = value;
    if (version->second) {
        return;
    }
    version->second = true;
    // The lowest version of any symbol is what the library is needed in at least, whatever is used of it.
    if (into.smallest.empty() || compareVersions(found.version, into.smallest) < 0) {
        into.smallest = found.version;
    }
}

void SymbolsFile::checkTemplates(const LibrarySymbols& library) const {
    const auto check = [&](const LibrarySymbols::Line& line) {
        if (line.templateNumber >= library.templates.size()) {
            throw damaged(where_, "a symbol of " + stream::escapeForDisplay(library.soname) +
                                      " follows dependency template " + std::to_string(line.templateNumber) +
                                      ", which is not there");
        }
    };
    // Only now are all templates known: their lines may come after those of symbols of an earlier header.
    for (const auto& [name, line] : library.lines) {
        check(line);
    }
    std::for_each(library.patternLines.begin(), library.patternLines.end(), check);
}

}  // namespace bex::shlibs
