#include "stream/writer/PackagePath.hpp"

#include "bex/stream/Escape.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

[[noreturn]] void refuse(std::string_view given, const char* reason) {
    throw invalidInput("", quotedName(given) + ": " + reason);
}

}  // namespace

std::string packagePath(std::string_view given) {
    if (given.find('\0') != given.npos) {
        refuse(given, "a path in a package can't hold a NUL");
    }
    if (given.find('\n') != given.npos) {
        refuse(given, "a path in a package can't hold a newline");
    }
    // Before "..": plainPath() drops what changes nothing, and keeps "..".
    std::string plain = plainPath(given);
    if (hasParentComponent(plain)) {  // guard: .. in paths to be packaged
        refuse(given, "a path in a package can't hold \"..\"");
    }
    return plain;
}

std::string packageFilePath(std::string_view given) {
    std::string plain = packagePath(given);
    // A slash at the end is gone from `plain`, and so looked for in what was given, which is not empty then.
    if (plain.empty() || given.back() == '/') {
        refuse(given, "names a directory, not a file");
    }
    return plain;
}

bool isPlainFileName(std::string_view name) noexcept {
    // find_first_of() with a length, because one of the characters is a NUL.
    constexpr char forbidden[] = {'/', '\n', '\0'};
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(forbidden, 0, sizeof forbidden) == name.npos;
}

std::string storedPath(std::string_view plain, EntryType type) {
    std::string stored = "./";
    stored += plain;
    // The root stays "./", as dpkg-deb writes it.
    if (type == EntryType::directory && !plain.empty()) {
        stored += '/';
    }
    return stored;
}

bool isWithin(std::string_view path, std::string_view directory) noexcept {
    // The slash matters: "usr/library" is not within "usr/lib".
    return directory.empty() || (path.substr(0, directory.size()) == directory &&
                                 (path.size() == directory.size() || path[directory.size()] == '/'));
}

}  // namespace bex::stream
