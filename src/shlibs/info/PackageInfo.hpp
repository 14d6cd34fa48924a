#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "shlibs/info/SymbolsFile.hpp"

namespace bex::shlibs {

/// A file's text, and its name in messages.
struct NamedText {
    std::string text;
    std::string where;
};

/// Reads the file; nothing where there is none.
std::optional<NamedText> readNamedText(const std::string& path);

/// What one package says of its libraries: its symbols file and its shlibs file, either of which may be absent.
class PackageInfo {
public:
    /// `name` is as dpkg has it: "libc6:amd64".
    PackageInfo(std::string name, std::optional<NamedText> symbols, std::optional<NamedText> shlibs)
        : name_(std::move(name)), symbolsText_(std::move(symbols)), shlibs_(std::move(shlibs)) {}

    const std::string& name() const noexcept { return name_; }

    /// The symbols file's part for the library, or null. `architecture` is the same at every call.
    const LibrarySymbols* symbolsOf(const std::string& soname, const std::string& architecture,
                                    std::vector<std::string>& notes);

    /// The shlibs file's dependencies for the library.
    std::optional<std::string> dependencyOf(const std::string& soname, std::vector<std::string>& notes) const;

private:
    std::string name_;
    std::optional<NamedText> symbolsText_;  ///< until it is parsed
    std::optional<NamedText> shlibs_;
    std::unique_ptr<SymbolsFile> symbols_;
};

}  // namespace bex::shlibs
