#include "buildfile/model/FieldReader.hpp"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "bex/stream/Architecture.hpp"
#include "bex/stream/StreamError.hpp"
#include "buildfile/model/PackageVersion.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

// Not in nfpm's format: an own word for the packages of the shared libraries that the payload needs.
constexpr const char* kAuto = "auto";
constexpr const char* kLibraries = "${shlibs:Depends}";  // as dpkg-shlibdeps(1) and `bex build` have it

/// Blanks at the ends of lines would change the field, and newlines at its end are the block style's own.
std::string foldedDescription(std::string_view text) {
    std::string result;
    stream::forEachPart(text, '\n', [&result](std::string_view line) {
        const std::size_t end = line.find_last_not_of(" \t\r");
        line = line.substr(0, end == std::string_view::npos ? 0 : end + 1);
        result.append(line).append("\n");
    });
    // Nothing but newlines: npos + 1 is 0, and the whole text goes.
    result.erase(result.find_last_not_of('\n') + 1);
    return result.substr(std::min(result.find_first_not_of(" \t\n"), result.size()));
}

/// Sets the fields in the order in which they stand in the package.
class FieldReader {
public:
    explicit FieldReader(const Document& document) : document_(document) {}

    // Once only: the paragraph is moved out. Further fields come after the known ones and may replace them.
    stream::ControlParagraph run() {
        readIdentity();
        readRelations();
        readText("section", "Section");
        const Value* priority = document_.find("priority");
        set("Priority", textOf(priority).value_or("optional"), priority);
        readText("homepage", "Homepage");
        if (const Value* fields = document_.inDeb("fields")) {
            for (const Member& member : fields->members) {
                set(member.name, textOf(&member.value).value_or(""), &member.value);
            }
        }
        return std::move(control_);
    }

private:
    std::optional<std::string> textOf(const Value* value) const { return document_.text(value); }

    /// An empty value sets no field. `value` tells where the text comes from, for messages.
    void set(const std::string& field, const std::string& text, const Value* value) {
        if (text.empty()) {
            return;
        }
        try {
            control_.set(field, text);
        } catch (const stream::StreamError& e) {
            // The paragraph knows neither file nor line: its reason is put at the place of the value.
            fail(document_.file(), document_.spotOf(value), e.record().reason);
        }
    }

    void setFrom(const Value* value, const std::string& field) { set(field, textOf(value).value_or(""), value); }

    void readText(std::string_view key, const std::string& field) { setFrom(document_.find(key), field); }

    void readIdentity() {
        readText("name", "Package");
        set("Version", version(), document_.find("version"));
        set("Architecture", architecture(), document_.find("arch"));
        // Ubuntu's field for packages that need a later processor of the architecture; dpkg copies it elsewhere.
        setFrom(document_.inDeb("arch_variant"), "Architecture-Variant");
        readText("maintainer", "Maintainer");
        const Value* description = document_.find("description");
        const std::string given = textOf(description).value_or("");
        set("Description", foldedDescription(stream::orIfEmpty(given, "no description given")), description);
    }

    std::string version() const {
        VersionParts parts;
        parts.version = textOf(document_.find("version")).value_or("");
        parts.epoch = textOf(document_.find("epoch")).value_or("");
        parts.prerelease = textOf(document_.find("prerelease")).value_or("");
        parts.metadata = textOf(document_.find("version_metadata")).value_or("");
        // deb.metadata is the older key of nfpm's format; the newer one wins.
        if (parts.metadata.empty()) {
            parts.metadata = textOf(document_.inDeb("metadata")).value_or("");
        }
        parts.release = textOf(document_.find("release")).value_or("");
        const Value* schema = document_.find("version_schema");
        // checkDocument() has let only "semver" and "none" through.
        parts.isSemantic = schema == nullptr || schema->text != "none";
        return debianVersion(parts);
    }

    std::string architecture() const {
        // Taken as it is, also where Debian has no such architecture: nfpm documents it as an override.
        if (const auto exact = textOf(document_.inDeb("arch"))) {
            return *exact;
        }
        std::string word = textOf(document_.find("arch")).value_or("");
        if (word == "s390") {  // Go's name of what Debian calls s390x
            word = "s390x";
        }
        // A name that neither Go nor the kernel has is taken for Debian's own.
        word = stream::orIfEmpty(stream::debianArchitecture(word), word);
        const std::string platform = textOf(document_.find("platform")).value_or("linux");
        // dpkg-architecture(1): names of Linux architectures have no kernel in front, those of others have.
        if (platform == "linux" || platform.empty() || word.empty()) {
            return word;
        }
        return platform + "-" + word;
    }

    void readRelation(const Value* value, const std::string& field) {
        std::string joined;
        for (const std::string& relation : document_.texts(value)) {
            const bool isAuto = field == "Depends" && relation == kAuto;
            stream::appendPart(joined, ", ", isAuto ? kLibraries : relation);
        }
        set(field, joined, value);
    }

    void readRelations() {
        readRelation(document_.inDeb("predepends"), "Pre-Depends");
        readRelation(document_.overridable("depends"), "Depends");
        readRelation(document_.overridable("recommends"), "Recommends");
        readRelation(document_.overridable("suggests"), "Suggests");
        readRelation(document_.inDeb("breaks"), "Breaks");
        readRelation(document_.overridable("conflicts"), "Conflicts");
        readRelation(document_.overridable("replaces"), "Replaces");
        readRelation(document_.overridable("provides"), "Provides");
    }

    const Document& document_;
    stream::ControlParagraph control_;
};

}  // namespace

stream::ControlParagraph readFields(const Document& document) {
    return FieldReader(document).run();
}

}  // namespace bex::buildfile
