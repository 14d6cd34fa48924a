#include "repo/html/Markup.hpp"

#include "bex/stream/Escape.hpp"
#include "stream/base/Ascii.hpp"

namespace bex::repo {

std::string htmlText(std::string_view text) {
    std::string safe;
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

std::string urlPath(std::string_view path) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string escaped;
    for (const char c : path) {
        if (stream::isAlphanumeric(c) || std::string_view("-._~/").find(c) != std::string_view::npos) {
            escaped += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            escaped.append(1, '%').append(1, digits[byte / 16]).append(1, digits[byte % 16]);
        }
    }
    return escaped;
}

bool isLinkable(std::string_view url) {
    const bool isWeb = url.substr(0, 7) == "http://" || url.substr(0, 8) == "https://";
    return isWeb && stream::consistsOf(url, [](char c) { return c > ' ' && c < '\x7f'; });
}

}  // namespace bex::repo
