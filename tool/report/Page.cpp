#include "report/Page.hpp"

#include <fmt/format.h>
#include <sha2.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>

#include "bex/stream/Versions.hpp"
#include "output/Json.hpp"
#include "output/Text.hpp"
#include "report/Growth.hpp"
#include "report/Html.hpp"
#include "report/PageParts.hpp"
#include "report/Treemap.hpp"

namespace bex::tool {

namespace {

// Of the tables that grow with the package, so that a page stays one that a browser shows at once.
constexpr std::size_t kMostRows = 100;

using Rows = std::vector<std::vector<Cell>>;

/// As a Content-Security-Policy names an element's text: 'sha256-...' (CSP Level 3, section 2.3.1).
std::string hashSource(std::string_view text) {
    SHA2_CTX context;
    SHA256Init(&context);
    SHA256Update(&context, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
    SHA256Final(digest.data(), &context);
    return "'sha256-" + base64({reinterpret_cast<const char*>(digest.data()), digest.size()}) + "'";
}

/// The page is one file without references. The policy admits its own style and script by their digests and
/// nothing else, whatever the names in a package say.
std::string document(const std::string& title, const std::string& body) {
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src {}; script-src {}; "
        "base-uri 'none'; form-action 'none'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width\">\n<title>{}</title>\n<style>{}</style>\n</head>\n"
        "<body>\n{}<p class=\"sub\">Made by bex {}</p>\n<script>{}</script>\n</body>\n</html>\n",
        hashSource(kStyle), hashSource(kScript), htmlText(title), kStyle, body,
        stream::libraryVersions().front().version, kScript);
}

std::string valueOf(const stream::ControlParagraph& control, const char* field) {
    const std::string* const value = control.find(field);
    return value != nullptr ? *value : std::string("?");
}

std::string titleOf(const PackageFigures& package) {
    return valueOf(package.control, "Package") + " " + valueOf(package.control, "Version") + " (" +
           valueOf(package.control, "Architecture") + ")";
}

std::string summary(const PackageFigures& package) {
    return htmlTable("summary", "Summary", {"What", "Figure"},
                     {{Cell::text("Entries"), Cell::number(package.entries.size())},
                      {Cell::text("Bytes of contents"), Cell::number(package.size)},
                      {Cell::text("Bytes of the compressed payload"), Cell::number(package.packed)},
                      {Cell::text("Compressed share"), Cell::percent(package.packed, package.size)},
                      {Cell::text("Bytes of the package"), Cell::number(package.packageBytes)}});
}

std::string largestEntries(const PackageFigures& package) {
    std::vector<const EntryFigures*> largest;
    for (const EntryFigures& entry : package.entries) {
        if (entry.size > 0) {
            largest.push_back(&entry);
        }
    }
    const std::size_t count = std::min(kMostRows, largest.size());
    // Only the rows that are shown are sorted. Of equal sizes the path decides, so that the page is the same each
    // time.
    std::partial_sort(largest.begin(), largest.begin() + static_cast<std::ptrdiff_t>(count), largest.end(),
                      [](const EntryFigures* a, const EntryFigures* b) {
                          return std::pair(b->size, std::string_view(a->path)) <
                                 std::pair(a->size, std::string_view(b->path));
                      });
    Rows rows;
    for (std::size_t i = 0; i < count; ++i) {
        const EntryFigures& entry = *largest[i];
        rows.push_back({Cell::text(entry.path), Cell::number(entry.size), Cell::percent(entry.size, package.size),
                        Cell::number(entry.packed), Cell::percent(entry.packed, entry.size)});
    }
    return htmlTable("largest", "Largest entries",
                     {"Path", "Bytes", "Of all", "Compressed, about", "Compressed share"}, rows);
}

std::string kinds(const PackageFigures& package) {
    Rows rows;
    for (const auto& [name, kind] : package.kinds) {
        rows.push_back({Cell::text(name), Cell::number(kind.entries), Cell::number(kind.size),
                        Cell::percent(kind.size, package.size), Cell::number(kind.packed),
                        Cell::percent(kind.packed, kind.size)});
    }
    return htmlTable("types", "Types",
                     {"Type", "Entries", "Bytes", "Of all", "Compressed, about", "Compressed share"}, rows);
}

std::string fields(const PackageFigures& package) {
    Rows rows;
    for (const auto& field : package.control.fields()) {
        rows.push_back({Cell::text(field.name), {htmlOfDisplayed(escapedLines(field.value, "\n")), false}});
    }
    return htmlTable("fields", "Fields", {"Field", "Value"}, rows);
}

std::string members(const PackageFigures& package) {
    Rows rows;
    for (const auto& member : package.members) {
        rows.push_back(
            {Cell::text(member.name), Cell::number(member.size), Cell::text(stream::nameOf(member.compression))});
    }
    for (const auto& entry : package.controlEntries) {
        rows.push_back({Cell::text("control: " + stream::plainPath(entry.path)), Cell::number(entry.size),
                        Cell::text(modeText(entry))});
    }
    return htmlTable("members", "Members", {"Member", "Bytes", "Compression or mode"}, rows);
}

std::string findings(const PackageFigures& package) {
    if (package.findings.empty()) {
        return "<p id=\"findings\">Findings of bex verify: none.</p>\n";
    }
    Rows rows;
    for (const auto& finding : package.findings) {
        const bool isError = finding.severity == stream::Severity::error;
        rows.push_back({Cell::text(isError ? "error" : "warning"),
                        Cell::text(finding.code),
                        Cell::text(finding.member),
                        Cell::text(finding.entry),
                        // Findings come with their text escaped for display; only HTML is left to do.
                        {htmlOfDisplayed(finding.reason), false}});
    }
    return htmlTable("findings", "Findings of bex verify", {"Severity", "Code", "Member", "Path", "Finding"},
                     rows);
}

std::string sections(const PackageFigures& package) {
    return "<p class=\"sub\">" + htmlText(package.name) + "</p>\n" + treemapSvg(SizeTree(package.entries)) +
           treemapLegend() + summary(package) + largestEntries(package) + kinds(package) + fields(package) +
           members(package) + findings(package);
}

std::string changes(const char* id, const char* caption, const std::vector<SizeChange>& all) {
    Rows rows;
    for (const SizeChange& change : all) {
        if (rows.size() == kMostRows) {
            break;
        }
        rows.push_back({Cell::text(change.path), Cell::number(change.before), Cell::number(change.after),
                        Cell::difference(change.before, change.after)});
    }
    return htmlTable(id, caption, {"Path", "Bytes before", "Bytes after", "Difference"}, rows);
}

std::string growth(const PackageFigures& before, const PackageFigures& after) {
    const Growth growth = growthOf(before, after);
    const auto row = [](const char* what, std::uint64_t a, std::uint64_t b) {
        return std::vector<Cell>{Cell::text(what), Cell::number(a), Cell::number(b), Cell::difference(a, b)};
    };
    return htmlTable("comparison", "Before and after", {"What", "Before", "After", "Difference"},
                     {row("Entries", before.entries.size(), after.entries.size()),
                      row("Bytes of contents", before.size, after.size),
                      row("Bytes of the compressed payload", before.packed, after.packed),
                      row("Bytes of the package", before.packageBytes, after.packageBytes)}) +
           changes("grew", "What grew", growth.grew) + changes("shrank", "What shrank", growth.shrank);
}

}  // namespace

std::string pageAbout(const PackageFigures& package) {
    const std::string title = titleOf(package);
    return document(title, "<h1>" + htmlText(title) + "</h1>\n" + sections(package));
}

std::string pageAbout(const PackageFigures& before, const PackageFigures& after) {
    const std::string old = titleOf(before);
    const std::string title = titleOf(after);
    return document(
        title, "<h1>" + htmlText(title) + "</h1>\n<p class=\"sub\">compared with " + htmlText(old) + "</p>\n" +
                   growth(before, after) + "<section id=\"after\">\n<h2>After: " + htmlText(title) + "</h2>\n" +
                   sections(after) + "</section>\n<section id=\"before\">\n<h2>Before: " + htmlText(old) +
                   "</h2>\n" + sections(before) + "</section>\n");
}

}  // namespace bex::tool
