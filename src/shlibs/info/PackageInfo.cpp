#include "shlibs/info/PackageInfo.hpp"

#include <utility>

#include "shlibs/base/TextFile.hpp"
#include "shlibs/info/ShlibsFile.hpp"

namespace bex::shlibs {

std::optional<NamedText> readNamedText(const std::string& path) {
    std::optional<std::string> text = readTextFile(path);
    if (!text) {
        return std::nullopt;
    }
    return NamedText{std::move(*text), path};
}

const LibrarySymbols* PackageInfo::symbolsOf(const std::string& soname, const std::string& architecture,
                                             std::vector<std::string>& notes) {
    if (symbolsText_) {
        symbols_ =
            std::make_unique<SymbolsFile>(std::move(symbolsText_->text), symbolsText_->where, architecture, notes);
        symbolsText_.reset();
    }
    if (symbols_ == nullptr) {
        return nullptr;
    }
    return symbols_->find(soname);
}

std::optional<std::string> PackageInfo::dependencyOf(const std::string& soname,
                                                     std::vector<std::string>& notes) const {
    if (!shlibs_) {
        return std::nullopt;
    }
    return dependencyFromShlibs(shlibs_->text, soname, shlibs_->where, notes);
}

}  // namespace bex::shlibs
