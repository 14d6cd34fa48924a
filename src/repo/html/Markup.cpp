#include "repo/html/Markup.hpp"

#include "bex/stream/Escape.hpp"
#include "stream/base/Ascii.hpp"

namespace bex::repo {

std::string htmlText(std::string_view text) {
    std::string safe;
    // First the escapes for control characters and bad UTF-8, which have none of the characters below in them.
    for (const char c : stream::escapeForDisplay(text)) {
        switch (c) {
            case '&':
                safe += "&amp;";
                break;
            case '<':
                safe += "&lt;";
                break;
            case '>':
                safe += "&gt;";
                break;
            // Quotes, too: the result is put into attributes.
            case '"':
                safe += "&quot;";
                break;
            case '\'':
                safe += "&#39;";
                break;
            default:
                safe += c;
        }
    }
    return safe;
}

// Other schemes, "javascript:" before all, would run what a package says in the reader's browser.
bool isLinkable(std::string_view url) {
    const bool isWeb = url.substr(0, 7) == "http://" || url.substr(0, 8) == "https://";
    return isWeb && stream::consistsOf(url, [](char c) { return c > ' ' && c < '\x7f'; });
}

}  // namespace bex::repo
