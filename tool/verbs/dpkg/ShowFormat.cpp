#include "verbs/dpkg/ShowFormat.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <optional>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "bex/stream/Version.hpp"
#include "output/Failure.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"
#include "verbs/dpkg/FieldForm.hpp"

namespace bex::tool {

namespace {

/// What a backslash before the character stands for; nothing where there is none.
std::string escaped(std::string_view character) {
    static const std::map<std::string_view, const char*> controls = {{"n", "\n"}, {"r", "\r"}, {"t", "\t"}};
    const auto control = controls.find(character);
    if (control == controls.end()) {
        return std::string(character);
    }
    return control->second;
}

std::string valueOf(const RawParagraph& control, std::string_view name) {
    return fieldText(control, name).value_or("");
}

/// "Source: NAME (VERSION)": both parts may be left out, for those of the package.
std::string sourcePackage(const RawParagraph& control) {
    const std::string source = valueOf(control, "Source");
    if (source.empty()) {
        return valueOf(control, "Package");
    }
    return source.substr(0, source.find_first_of(" \t("));
}

/// The version between parentheses, or the package's where the source package has the same.
std::string sourceVersion(const RawParagraph& control) {
    const std::string source = valueOf(control, "Source");
    const std::size_t open = source.find('(');
    if (open == std::string::npos) {
        return valueOf(control, "Version");
    }
    // Without a closing one, the difference is larger than the text, and substr() takes the rest.
    const std::string_view version = std::string_view(source).substr(open + 1, source.find(')') - open - 1);
    return stream::Version::parse(trimmed(version)).format();
}

std::string upstreamVersion(const RawParagraph& control) {
    return stream::Version::parse(sourceVersion(control)).upstream();
}

/// A package that is installed for several architectures is named with its own.
std::string binaryPackage(const RawParagraph& control) {
    const std::string name = valueOf(control, "Package");
    if (valueOf(control, "Multi-Arch") != "same") {
        return name;
    }
    return name + ":" + valueOf(control, "Architecture");
}

std::string summary(const RawParagraph& control) {
    return std::string(stream::firstLine(valueOf(control, "Description")));
}

/// A field of dpkg-query(1) that is made of others.
struct VirtualField {
    std::string_view name;
    std::string (*value)(const RawParagraph&);
};

/// What dpkg's database knows of a package that is only a file.
std::string nothing(const RawParagraph& /*control*/) {
    return "";
}

constexpr VirtualField kVirtualFields[] = {
    {"binary:Package", binaryPackage}, {"binary:Summary", summary},
    {"binary:Synopsis", summary},      {"source:Package", sourcePackage},
    {"source:Version", sourceVersion}, {"source:Upstream-Version", upstreamVersion},
    {"db:Status-Abbrev", nothing},     {"db:Status-Want", nothing},
    {"db:Status-Status", nothing},     {"db:Status-Eflag", nothing},
    {"db-fsys:Files", nothing},        {"db-fsys:Last-Modified", nothing},
};

/// Nothing for a name that dpkg would pass over, its width included.
std::optional<std::string> shownValue(const RawParagraph& control, std::string_view name) {
    for (const auto& field : kVirtualFields) {
        if (stream::equalIgnoringCase(field.name, name)) {
            return field.value(control);
        }
    }
    return fieldText(control, name);
}

/// dpkg-query(1): a positive width puts blanks before the text, a negative one after it, and both cut; 0 does
/// neither.
std::string fitted(std::string text, int width) {
    const auto bytes = static_cast<std::size_t>(std::abs(static_cast<long>(width)));
    if (width == 0) {
        return text;
    }
    const std::string blanks(bytes - std::min(bytes, text.size()), ' ');
    // Cut and filled by bytes, as dpkg-query does, whatever the locale.
    text.resize(std::min(bytes, text.size()));
    if (width > 0) {
        return blanks + text;
    }
    return text + blanks;
}

}  // namespace

ShowFormat::ShowFormat(std::string_view format) {
    std::string text;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] == '\\') {
            // A backslash at the end has nothing after it: substr() gives "", and nothing is shown.
            text += escaped(format.substr(++i, 1));
        } else if (format.substr(i, 2) == "${") {
            const std::size_t end = format.find('}', i);
            if (end == std::string_view::npos) {
                throw UsageError("--showformat: a closing brace is missing");
            }
            // Perhaps empty, which shows as nothing.
            parts_.push_back({false, std::move(text)});
            text.clear();
            addField(format.substr(i + 2, end - i - 2));
            i = end;
        } else {
            text += format[i];
        }
    }
    parts_.push_back({false, std::move(text)});
}

void ShowFormat::addField(std::string_view field) {
    const std::size_t semicolon = std::min(field.find(';'), field.size());
    std::string_view width = trimmed(field.substr(std::min(semicolon + 1, field.size())));
    if (width.substr(0, 1) == "+") {
        width.remove_prefix(1);
    }
    // The sign is part of the number for a minus; the plus that dpkg allows too was taken off.
    const auto columns = stream::parseWhole<int>(stream::orIfEmpty(width, "0"));
    if (!columns) {
        throw UsageError("--showformat: " + stream::escapeForDisplay(width) + " is not a valid width");
    }
    parts_.push_back({true, std::string(field.substr(0, semicolon)), *columns});
}

std::string ShowFormat::show(const RawParagraph& control) const {
    std::string result;
    for (const auto& part : parts_) {
        if (!part.isField) {
            result += part.text;
        } else if (auto value = shownValue(control, part.text)) {
            result += fitted(std::move(*value), part.width);
        }
    }
    return result;
}

}  // namespace bex::tool
