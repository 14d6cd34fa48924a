#include "repo/html/Pages.hpp"

#include "repo/html/Markup.hpp"
#include "repo/suite/Settings.hpp"
#include "stream/base/Text.hpp"
#include "stream/base/UrlPath.hpp"

namespace bex::repo {

namespace {

/// Nothing but the site's own style sheet and script is loaded, whatever a package's text says.
constexpr const char* kPolicy = "default-src 'none'; style-src 'self'; script-src 'self'; base-uri 'none'";

std::string page(const std::string& title, const std::string& up, const std::string& body) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"" +
           std::string(kPolicy) +
           "\">\n<meta name=\"viewport\" content=\"width=device-width\">\n"
           "<title>" +
           htmlText(title) + "</title>\n<link rel=\"stylesheet\" href=\"" + up +
           "html/style.css\">\n<script defer src=\"" + up + "html/search.js\"></script>\n</head>\n<body>\n" +
           body + "</body>\n</html>\n";
}

std::string valueOf(const stream::ControlParagraph& stanza, const char* field) {
    const std::string* value = stanza.find(field);
    if (value == nullptr) {
        return {};
    }
    return *value;
}

std::string link(const std::string& url, const std::string& text) {
    return "<a href=\"" + htmlText(url) + "\">" + htmlText(text) + "</a>";
}

/// "12.3 MB", for people.
std::string sizeText(const std::string& bytes) {
    constexpr std::uint64_t step = 1000;
    std::uint64_t tenths = stream::parseWhole<std::uint64_t>(bytes).value_or(0) * 10;
    const char* unit = "B";
    for (const char* larger : {"kB", "MB", "GB"}) {
        if (tenths >= step * 10) {
            tenths /= step;
            unit = larger;
        }
    }
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " " + unit;
}

/// The long description (deb-control(5)): an empty line ends a paragraph, an indented line stays as it is.
std::string descriptionMarkup(const std::string& description) {
    std::string markup;
    std::string paragraph;
    const auto end = [&](bool verbatim) {
        const std::string element = verbatim ? "pre" : "p";
        if (!paragraph.empty()) {
            markup += "<" + element + ">" + paragraph + "</" + element + ">\n";
            paragraph.clear();
        }
    };
    bool isVerbatim = false;
    const std::size_t second = description.find('\n');
    const std::string_view rest = std::string_view(description).substr(std::min(second, description.size()));
    stream::forEachLine(rest, [&](std::string_view line) {
        const bool isIndented = !line.empty() && (line.front() == ' ' || line.front() == '\t');
        if (line.empty() || isIndented != isVerbatim) {
            end(isVerbatim);
        }
        isVerbatim = isIndented;
        if (!line.empty()) {
            paragraph += htmlText(line) + "\n";
        }
    });
    end(isVerbatim);
    return markup;
}

std::string fieldsMarkup(const stream::ControlParagraph& stanza) {
    std::string markup = "<dl>\n";
    for (const char* name :
         {"Maintainer", "Homepage", "Section", "Priority", "Pre-Depends", "Depends", "Recommends", "Suggests",
          "Provides", "Breaks", "Conflicts", "Replaces", "Installed-Size"}) {
        const std::string value = valueOf(stanza, name);
        if (value.empty()) {
            continue;
        }
        // Escaped before it becomes an attribute or text: the value is the package's.
        std::string shown = htmlText(value);
        if (std::string_view(name) == "Homepage" && isLinkable(value)) {
            shown.insert(0, "<a rel=\"nofollow noreferrer\" href=\"" + shown + "\">").append("</a>");
        }
        markup += "<dt>" + std::string(name) + "</dt><dd>" + shown + "</dd>\n";
    }
    return markup + "</dl>\n";
}

std::string versionRow(const ShownPackage& package) {
    const auto& stanza = package.stanza;
    return "<tr><td>" + link("../../" + stream::urlPath(valueOf(stanza, "Filename")), valueOf(stanza, "Version")) +
           "</td><td>" + htmlText(valueOf(stanza, "Architecture")) + "</td><td>" + htmlText(package.component) +
           "</td><td>" + sizeText(valueOf(stanza, "Size")) + "</td><td class=\"digest\"><code>" +
           htmlText(valueOf(stanza, "SHA256")) + "</code></td></tr>\n";
}

std::string filesMarkup(const ShownPackage& package) {
    std::string markup = "<details><summary>" + htmlText(valueOf(package.stanza, "Version")) + ", " +
                         htmlText(valueOf(package.stanza, "Architecture")) + ": " +
                         std::to_string(package.files.size()) + " files</summary>\n<ul class=\"files\">\n";
    for (const std::string& file : package.files) {
        markup += "<li><code>/" + htmlText(file) + "</code></li>\n";
    }
    return markup + "</ul></details>\n";
}

std::string table(const std::string& id, const std::string& head, const std::string& rows) {
    return "<div class=\"table\"><table id=\"" + id + "\"><thead><tr>" + head + "</tr></thead>\n<tbody>\n" + rows +
           "</tbody></table></div>\n";
}

}  // namespace

std::string repositoryPage(const std::vector<SuiteSettings>& suites, const std::string& url, bool isSigned) {
    const std::string& label = suites.front().label;
    const std::string title(stream::orIfEmpty(label, "Packages"));
    std::string body = "<h1>" + htmlText(title) + "</h1>\n";
    if (!suites.front().description.empty()) {
        body += "<p>" + htmlText(suites.front().description) + "</p>\n";
    }
    // The site's script puts the page's own address in, unless a given one is marked as fixed.
    std::string address = "<span class=\"address\">https://SERVER/PATH</span>";
    if (!url.empty()) {
        address = "<span class=\"address\" data-fixed>" + htmlText(url) + "</span>";
    }
    const std::string trust = isSigned ? "signed-by=/etc/apt/keyrings/repository.gpg" : "trusted=yes";
    std::string rows;
    std::string sources;
    for (const SuiteSettings& suite : suites) {
        rows += "<tr><td>" + link("html/" + stream::urlPath(suite.suite) + "/index.html", suite.suite) +
                "</td><td>" + htmlText(joined(suite.components)) + "</td><td>" +
                htmlText(joined(suite.architectures)) + "</td><td>" + htmlText(suite.description) + "</td></tr>\n";
        sources += "deb [" + trust + "] " + address + " " + htmlText(suite.suite) + " " +
                   htmlText(joined(suite.components)) + "\n";
    }
    body += table("suites", "<th>Suite</th><th>Components</th><th>Architectures</th><th>Description</th>", rows);
    body += "<h2>Add it to apt</h2>\n";
    if (isSigned) {
        body +=
            "<p>Put the repository&#39;s public key into <code>/etc/apt/keyrings/repository.gpg</code>, and "
            "the line of the suite that you want into "
            "<code>/etc/apt/sources.list.d/repository.list</code>:</p>\n";
    } else {
        body +=
            "<p>Put the line of the suite that you want into "
            "<code>/etc/apt/sources.list.d/repository.list</code>. Nothing is signed: use it only where "
            "you trust the way to it.</p>\n";
    }
    body += "<pre>" + sources + "</pre>\n<p>Then run <code>apt update</code>.</p>\n";
    return page(title, "", body);
}

std::string suitePage(const SuiteSettings& suite, const std::vector<PackageGroup>& groups) {
    std::string rows;
    for (const PackageGroup& group : groups) {
        const Stanza& newest = group.packages.front().stanza;
        const auto stanza = stream::ControlParagraph::parse(newest.text, group.name);
        rows += "<tr><td>" + link(stream::urlPath(group.name) + ".html", group.name) + "</td><td>" +
                htmlText(newest.version) + "</td><td>" +
                htmlText(stream::firstLine(valueOf(stanza, "Description"))) + "</td></tr>\n";
    }
    const std::string body = "<p><a href=\"../../index.html\">All suites</a></p>\n<h1>" + htmlText(suite.suite) +
                             "</h1>\n" +
                             "<input id=\"search\" type=\"search\" placeholder=\"Search names and descriptions\" "
                             "aria-label=\"Search\" hidden>\n<p class=\"faint\" id=\"count\">" +
                             std::to_string(groups.size()) + " packages</p>\n" +
                             table("packages", "<th>Package</th><th>Version</th><th>Description</th>", rows);
    return page(suite.suite, "../../", body);
}

std::string packagePage(const SuiteSettings& suite, const std::string& name,
                        const std::vector<ShownPackage>& packages) {
    const stream::ControlParagraph& newest = packages.front().stanza;
    const std::string description = valueOf(newest, "Description");
    std::string rows;
    std::string files;
    for (const ShownPackage& package : packages) {
        rows += versionRow(package);
        files += filesMarkup(package);
    }
    const std::string body =
        "<p>" + link("index.html", suite.suite) + "</p>\n<h1>" + htmlText(name) + "</h1>\n<p>" +
        htmlText(stream::firstLine(description)) + "</p>\n<pre>apt install " + htmlText(name) + "</pre>\n" +
        descriptionMarkup(description) + "<h2>Versions</h2>\n" +
        table("versions", "<th>Version</th><th>Architecture</th><th>Component</th><th>Size</th><th>SHA-256</th>",
              rows) +
        "<h2>Fields of the newest</h2>\n" + fieldsMarkup(newest) + "<h2>Files</h2>\n" + files;
    return page(name, "../../", body);
}

}  // namespace bex::repo
