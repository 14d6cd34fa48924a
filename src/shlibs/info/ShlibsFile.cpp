#include "shlibs/info/ShlibsFile.hpp"

#include <cstddef>

#include "shlibs/base/Failure.hpp"
#include "shlibs/base/TextFile.hpp"
#include "shlibs/info/Soname.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

std::optional<std::string> dependencyFromShlibs(std::string_view text, std::string_view soname,
                                                const std::string& where, std::vector<std::string>& notes) {
    const std::optional<LibraryVersion> library = splitSoname(soname);
    std::optional<std::string> untyped;
    std::size_t number = 0;
    for (std::string_view line; library && stream::nextLine(text, line);) {
        ++number;
        if (line.substr(0, 1) == "#") {
            continue;
        }
        std::string_view rest = line;
        std::string_view name = nextWord(rest);
        std::string_view type;
        if (name.size() > 1 && name.back() == ':') {
            type = name.substr(0, name.size() - 1);
            name = nextWord(rest);
        }
        const std::string_view version = nextWord(rest);
        if (version.empty()) {
            notes.push_back(damaged(where, "is not a line of a shlibs file", number).what());
        } else if (name == library->name && version == library->version) {
            if (type == "deb") {
                return std::string(trimmed(rest));
            }
            if (type.empty() && !untyped) {
                untyped = trimmed(rest);
            }
        }
    }
    return untyped;
}

}  // namespace bex::shlibs
