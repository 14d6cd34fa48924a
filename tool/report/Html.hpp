#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace bex::tool {

/// A text of any bytes as HTML shows it, in elements and in quoted attributes: made safe for display, then with
/// `&`, `<`, `>` and both quotes as references. Every text that is not ours goes through it.
std::string htmlText(std::string_view text);

/// The same for a text that was made safe for display before.
std::string htmlOfDisplayed(std::string_view text);

/// A cell of a table.
struct Cell {
    std::string html;
    bool isNumber = false;

    static Cell text(std::string_view text) { return {htmlText(text), false}; }
    static Cell number(std::uint64_t number) { return {std::to_string(number), true}; }
    /// "12.3 %", or "" where there is nothing to be a part of.
    static Cell percent(std::uint64_t part, std::uint64_t whole);
    /// With a sign.
    static Cell difference(std::uint64_t before, std::uint64_t after);
};

/// A table with a caption and an identifier; `heads` are ours.
std::string htmlTable(const char* id, const char* caption, const std::vector<const char*>& heads,
                      const std::vector<std::vector<Cell>>& rows);

}  // namespace bex::tool
