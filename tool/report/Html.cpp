#include "report/Html.hpp"

#include <fmt/format.h>

#include "bex/stream/Escape.hpp"

namespace bex::tool {

std::string htmlText(std::string_view text) {
    return htmlOfDisplayed(stream::escapeForDisplay(text));
}

std::string htmlOfDisplayed(std::string_view text) {
    std::string html;
    html.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            // Quotes, too: the result is put into attributes.
            case '"':
                html += "&quot;";
                break;
            case '\'':
                html += "&#39;";
                break;
            default:
                html += c;
        }
    }
    return html;
}

Cell Cell::percent(std::uint64_t part, std::uint64_t whole) {
    // A share of nothing is no number.
    if (whole == 0) {
        return {"", true};
    }
    return {fmt::format("{:.1f} %", 100.0 * static_cast<double>(part) / static_cast<double>(whole)), true};
}

Cell Cell::difference(std::uint64_t before, std::uint64_t after) {
    // Unsigned sizes: the smaller is taken from the larger, and the sign is written.
    if (after < before) {
        return {"-" + std::to_string(before - after), true};
    }
    return {"+" + std::to_string(after - before), true};
}

std::string htmlTable(const char* id, const char* caption, const std::vector<const char*>& heads,
                      const std::vector<std::vector<Cell>>& rows) {
    std::string html = fmt::format("<table id=\"{}\">\n<caption>{}</caption>\n<thead><tr>", id, caption);
    for (std::size_t column = 0; column < heads.size(); ++column) {
        // A head is aligned as the column's first cell; a column has cells of one sort.
        const bool isNumber = !rows.empty() && rows.front()[column].isNumber;
        html += fmt::format("<th scope=\"col\"{}>{}</th>", isNumber ? " class=\"n\"" : "", heads[column]);
    }
    html += "</tr></thead>\n<tbody>\n";
    for (const auto& row : rows) {
        html += "<tr>";
        for (const Cell& cell : row) {
            html += cell.isNumber ? "<td class=\"n\">" : "<td>";
            html += cell.html;
            html += "</td>";
        }
        html += "</tr>\n";
    }
    return html + "</tbody>\n</table>\n";
}

}  // namespace bex::tool
