#include "report/Kinds.hpp"

#include <algorithm>

#include "bex/stream/Escape.hpp"

namespace bex::tool {

using namespace std::string_view_literals;

namespace {

struct Magic {
    std::string_view bytes;
    const char* kind;
};

// The first that fits counts. Some literals are in two parts, since a hexadecimal escape goes on as long as
// digits follow ("\x7f" and "ELF").
constexpr Magic kMagics[] = {
    {"\x7f"
     "ELF"sv,
     "ELF programs and libraries"},
    {"#!"sv, "scripts"},
    {"\x1f\x8b"sv, "compressed files"},
    {"\xfd"
     "7zXZ\0"sv,
     "compressed files"},
    {"\x28\xb5\x2f\xfd"sv, "compressed files"},
    {"BZh"sv, "compressed files"},
    {"PK\3\4"sv, "zip archives"},
    {"!<arch>\n"sv, "ar archives"},
    {"\x89PNG\r\n"sv, "images"},
    {"\xff\xd8\xff"sv, "images"},
    {"GIF8"sv, "images"},
    {"<svg"sv, "images"},
    {"%PDF-"sv, "PDF documents"},
    {"<?xml"sv, "XML"},
    {"\xde\x12\x04\x95"sv, "translations"},
};

/// Without control characters that no text has. The last character may be cut.
bool isText(std::string_view begin) {
    const bool clean = std::none_of(begin.begin(), begin.end(), [](unsigned char c) {
        return c < 0x20 && (c < '\t' || c > '\r') && c != 0x1b;
    });
    // The beginning of a file may end within a character of up to four bytes.
    for (std::size_t cut = 0; clean && cut < 4 && cut <= begin.size(); ++cut) {
        if (stream::isUtf8(begin.substr(0, begin.size() - cut))) {
            return true;
        }
    }
    return false;
}

const char* kindOfFile(std::string_view begin) {
    if (begin.empty()) {
        return "empty files";
    }
    const auto* const found = std::find_if(std::begin(kMagics), std::end(kMagics), [&](const Magic& magic) {
        return begin.substr(0, magic.bytes.size()) == magic.bytes;
    });
    if (found != std::end(kMagics)) {
        return found->kind;
    }
    return isText(begin) ? "text" : "other data";
}

}  // namespace

const char* kindOf(const stream::Entry& entry, std::string_view begin) {
    switch (entry.type) {
        case stream::EntryType::file:
            return kindOfFile(begin);
        case stream::EntryType::directory:
            return "directories";
        case stream::EntryType::symlink:
            return "symlinks";
        case stream::EntryType::hardlink:
            return "hard links";
        default:
            return "devices and FIFOs";
    }
}

}  // namespace bex::tool
