#include <algorithm>
#include <cstddef>
#include <ctime>
#include <utility>

#include "bex/stream/Architecture.hpp"
#include "bex/stream/Escape.hpp"
#include "bex/stream/StreamError.hpp"
#include "buildfile/model/Checks.hpp"
#include "buildfile/model/Description.hpp"
#include "buildfile/model/Expansion.hpp"
#include "buildfile/model/PackageVersion.hpp"
#include "buildfile/yaml/YamlReader.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

// nfpm's name for Debian packages: the key of their section, of their overrides, and the value of `packager`.
constexpr const char* kFormat = "deb";
// Not in nfpm's format: an own word for the packages of the shared libraries that the payload needs.
constexpr const char* kAuto = "auto";
constexpr const char* kLibraries = "${shlibs:Depends}";  // as dpkg-shlibdeps(1) and `bex build` have it

/// Permission bits in octal digits, with "0o" before them or not.
/// YAML readers turn 0644 and 0o644 into numbers of different bases; here both are the digits that stand in the
/// file.
std::optional<std::uint32_t> parsedMode(std::string_view digits) {
    if (digits.substr(0, 2) == "0o") {
        digits.remove_prefix(2);
    }
    const auto mode = stream::parseWhole<std::uint32_t>(digits, 8);
    if (!mode || *mode > 07777) {
        return std::nullopt;
    }
    return mode;
}

/// Seconds since 1970 from such a number, or from a time or day as RFC 3339 has them.
std::optional<std::int64_t> parsedTime(const std::string& text) {
    for (const char* form : {"%Y-%m-%dT%H:%M:%S%z", "%Y-%m-%d %H:%M:%S%z", "%Y-%m-%d"}) {
        std::tm fields{};
        const char* rest = strptime(text.c_str(), form, &fields);
        // Only a form that takes the whole text: a day would otherwise take the beginning of a time.
        if (rest != nullptr && *rest == '\0') {
            const long offset = fields.tm_gmtoff;  // timegm() resets it
            return timegm(&fields) - offset;
        }
    }
    return stream::parseWhole<std::int64_t>(text);
}

/// Turns a checked document into a description.
/// checkDocument() runs first, in the constructor: after it, every value is of the kind that the vocabulary gives
/// it, and the functions below take that for granted. Pointers to values point into the document, which outlives
/// the reader.
class DescriptionReader {
public:
    DescriptionReader(const Value& document, const std::string& file) : document_(document) {
        description_.file = file;
        description_.skipped = checkDocument(document, file);
        deb_ = document.find(kFormat);
        if (const Value* overrides = document.find("overrides")) {
            overrides_ = overrides->find(kFormat);
        }
    }

    // Once only: the description is moved out. Further fields come after the known ones and may replace them.
    Description run() {
        readIdentity();
        readRelations();
        readText("section", "Section");
        set("Priority", textOf(document_.find("priority")).value_or("optional"), document_.find("priority"));
        readText("homepage", "Homepage");
        readFurtherFields();
        readScripts();
        readTriggers();
        readContents();
        readSystem();
        readOptions();
        return std::move(description_);
    }

private:
    const std::string& file() const noexcept { return description_.file; }

    /// The text with its variables replaced; nothing for a key that is not there, which is not the same as an
    /// empty text.
    std::optional<std::string> textOf(const Value* value, Expansion expansion = Expansion::shell) const {
        if (value == nullptr) {
            return std::nullopt;
        }
        return expanded(*value, expansion, file());
    }

    /// What overrides the document's key for Debian packages, or else the key's value.
    const Value* overridable(std::string_view key) const {
        const Value* instead = nullptr;
        if (overrides_ != nullptr) {
            instead = overrides_->find(key);
        }
        if (instead == nullptr) {
            instead = document_.find(key);
        }
        return instead;
    }

    /// The key in the section `deb`; null where either is missing.
    const Value* inDeb(std::string_view key) const {
        if (deb_ == nullptr) {
            return nullptr;
        }
        return deb_->find(key);
    }

    /// An empty value sets no field. `value` tells where the text comes from, for messages.
    void set(const std::string& field, const std::string& text, const Value* value) {
        if (text.empty()) {
            return;
        }
        try {
            description_.control.set(field, text);
        } catch (const stream::StreamError& e) {
            // The paragraph knows neither file nor line: its reason is put at the place of the value.
            fail(file(), spotOf(value), e.record().reason);
        }
    }

    /// A value that is missing has no place; the document's begin stands for it.
    Spot spotOf(const Value* value) const {
        if (value == nullptr) {
            return document_.at;
        }
        return value->at;
    }

    void readText(std::string_view key, const std::string& field) {
        const Value* value = document_.find(key);
        set(field, textOf(value).value_or(""), value);
    }

    void readIdentity() {
        readText("name", "Package");
        set("Version", version(), document_.find("version"));
        set("Architecture", architecture(), document_.find("arch"));
        readText("maintainer", "Maintainer");
        const std::string given = textOf(document_.find("description")).value_or("");
        set("Description", foldedDescription(std::string(stream::orIfEmpty(given, "no description given"))),
            document_.find("description"));
    }

    /// Blanks at the ends of lines would change the field, and newlines at its end are the block style's own.
    static std::string foldedDescription(const std::string& text) {
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

    std::string version() const {
        VersionParts parts;
        parts.version = textOf(document_.find("version")).value_or("");
        parts.epoch = textOf(document_.find("epoch")).value_or("");
        parts.prerelease = textOf(document_.find("prerelease")).value_or("");
        parts.metadata = textOf(document_.find("version_metadata")).value_or("");
        // deb.metadata is the older key of nfpm's format; the newer one wins.
        if (parts.metadata.empty()) {
            parts.metadata = textOf(inDeb("metadata")).value_or("");
        }
        parts.release = textOf(document_.find("release")).value_or("");
        const Value* schema = document_.find("version_schema");
        // checkDocument() has let only "semver" and "none" through.
        parts.isSemantic = schema == nullptr || schema->text != "none";
        return debianVersion(parts);
    }

    std::string architecture() const {
        // Taken as it is, also where Debian has no such architecture: nfpm documents it as an override.
        if (const auto exact = textOf(inDeb("arch"))) {
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

    /// The texts of a list that are not empty.
    std::vector<std::string> listOf(const Value* value) const {
        std::vector<std::string> texts;
        if (value == nullptr) {
            return texts;
        }
        for (const Value& item : value->items) {
            // An item may be a variable that is empty: it leaves no empty relation behind.
            if (std::string text = expanded(item, Expansion::shell, file()); !text.empty()) {
                texts.push_back(std::move(text));
            }
        }
        return texts;
    }

    void readRelation(const Value* value, const std::string& field) {
        std::string joined;
        for (const std::string& relation : listOf(value)) {
            const bool isAuto = field == "Depends" && relation == kAuto;
            stream::appendPart(joined, ", ", isAuto ? kLibraries : relation);
        }
        set(field, joined, value);
    }

    void readRelations() {
        readRelation(inDeb("predepends"), "Pre-Depends");
        readRelation(overridable("depends"), "Depends");
        readRelation(overridable("recommends"), "Recommends");
        readRelation(overridable("suggests"), "Suggests");
        readRelation(inDeb("breaks"), "Breaks");
        readRelation(overridable("conflicts"), "Conflicts");
        readRelation(overridable("replaces"), "Replaces");
        readRelation(overridable("provides"), "Provides");
    }

    void readFurtherFields() {
        const Value* fields = inDeb("fields");
        if (fields == nullptr) {
            return;
        }
        for (const Member& member : fields->members) {
            set(member.name, textOf(&member.value).value_or(""), &member.value);
        }
    }

    std::optional<NamedPath> pathOf(const Value* value) const {
        const auto text = textOf(value);
        if (!text || text->empty()) {
            return std::nullopt;
        }
        return NamedPath{*text, value->at};
    }

    void readScript(const Value* value, const char* member) {
        if (auto path = pathOf(value)) {
            description_.scripts.emplace(member, std::move(*path));
        }
    }

    void readScripts() {
        constexpr std::pair<const char*, const char*> kMembers[] = {{"preinstall", "preinst"},
                                                                    {"postinstall", "postinst"},
                                                                    {"preremove", "prerm"},
                                                                    {"postremove", "postrm"}};
        // The overrides first: emplace() keeps what is there, so each script is overridden by itself.
        for (const Value* scripts : {overrides(), document_.find("scripts")}) {
            for (const auto& [key, member] : kMembers) {
                readScript(memberOf(scripts, key), member);
            }
        }
        // Only Debian packages have these members, so that nothing can override them.
        for (const char* member : {"rules", "templates", "config"}) {
            readScript(memberOf(inDeb("scripts"), member), member);
        }
    }

    const Value* overrides() const { return memberOf(overrides_, "scripts"); }

    static const Value* memberOf(const Value* map, std::string_view key) {
        if (map == nullptr) {
            return nullptr;
        }
        return map->find(key);
    }

    void readTriggers() {
        const Value* triggers = inDeb("triggers");
        if (triggers == nullptr) {
            return;
        }
        for (const Member& member : triggers->members) {
            std::string directive = member.name;
            // The keys are deb-triggers(5)'s directives with an underscore: interest_noawait is interest-noawait.
            if (const std::size_t underscore = directive.find('_'); underscore != std::string::npos) {
                directive[underscore] = '-';
            }
            for (const std::string& name : listOf(&member.value)) {
                description_.triggers += directive + " " + name + "\n";
            }
        }
    }

    /// Throws at the value's place for a text that is not a mode.
    std::uint32_t modeOf(const Value& value) const {
        const std::string text = expanded(value, Expansion::shell, file());
        const auto mode = parsedMode(text);
        if (!mode) {
            fail(file(), value.at, quotedText(text) + " is not an octal mode up to 7777");
        }
        return *mode;
    }

    std::int64_t timeOf(const Value& value) const {
        const std::string text = expanded(value, Expansion::shell, file());
        if (const auto time = parsedTime(text)) {
            return *time;
        }
        fail(file(), value.at, quotedText(text) + " is not a time such as 2008-01-02T15:04:05Z");
    }

    FileInfo infoOf(const Value* value) const {
        FileInfo info;
        if (value == nullptr) {
            return info;
        }
        if (const Value* mode = value->find("mode")) {
            info.mode = modeOf(*mode);
        }
        if (const Value* mtime = value->find("mtime")) {
            info.mtime = timeOf(*mtime);
        }
        info.owner = textOf(value->find("owner")).value_or("");
        info.group = textOf(value->find("group")).value_or("");
        return info;
    }

    /// nfpm expands these two only where `expand` says so; a name in braces is never meant as it is.
    static Expansion expansionOf(const Value& line) {
        const Value* expand = line.find("expand");
        if (expand == nullptr) {
            return Expansion::braces;
        }
        if (isTrue(expand, false)) {
            return Expansion::shell;
        }
        return Expansion::none;
    }

    void readContents() {
        const Value* contents = overridable("contents");
        if (contents == nullptr) {
            return;
        }
        for (const Value& line : contents->items) {
            readContent(line);
        }
    }

    void skip(const std::string& what, Spot at) {
        description_.skipped.push_back(what + " (line " + std::to_string(at.line) + ")");
    }

    void readContent(const Value& line) {
        // Looked at first: a line for another format may name files that this machine does not have.
        const std::string packager = textOf(line.find("packager")).value_or(kFormat);
        const std::string type = textOf(line.find("type"), Expansion::none).value_or("file");
        if (packager != kFormat) {
            skip("contents for " + stream::escapeForDisplay(packager), line.at);
            return;
        }
        // RPM's word for a file that a package owns without bringing it; dpkg knows no such thing.
        if (type == "ghost") {
            skip("a ghost in contents", line.at);
            return;
        }
        Content content;
        content.at = line.at;
        const Expansion expansion = expansionOf(line);
        if (const Value* source = line.find("src")) {
            content.source = {expanded(*source, expansion, file()), source->at};
        }
        content.destination = textOf(line.find("dst"), expansion).value_or("");
        content.type = typeOf(type);
        content.info = infoOf(line.find("file_info"));
        // Also after expansion: a variable that is empty must not mean the package's root.
        if (content.destination.empty()) {
            fail(file(), line.at, "a line of contents has no dst");
        }
        description_.contents.push_back(std::move(content));
    }

    static ContentType typeOf(const std::string& word) {
        constexpr std::pair<const char*, ContentType> kTypes[] = {
            // dpkg asks before it replaces any conffile, so that the variants of RPM come to the same.
            {"config", ContentType::config},           {"config|noreplace", ContentType::config},
            {"config|missingok", ContentType::config}, {"symlink", ContentType::symlink},
            {"dir", ContentType::directory},           {"tree", ContentType::tree}};
        for (const auto& [known, type] : kTypes) {
            if (known == word) {
                return type;
            }
        }
        return ContentType::file;  // RPM's doc, license and so on are files here
    }

    std::vector<NamedPath> pathsOf(const Value* list) const {
        std::vector<NamedPath> paths;
        if (list == nullptr) {
            return paths;
        }
        for (const Value& item : list->items) {
            if (auto path = pathOf(&item)) {
                paths.push_back(std::move(*path));
            }
        }
        return paths;
    }

    void readSystem() {
        if (const Value* systemd = document_.find("systemd")) {
            // The order of the members of Systemd.
            description_.systemd = {pathsOf(systemd->find("units")), pathsOf(systemd->find("user-units")),
                                    isTrue(systemd->find("enable"), true), isTrue(systemd->find("start"), true),
                                    isTrue(systemd->find("restart-on-upgrade"), true)};
        }
        description_.sysusers = pathOf(document_.find("sysusers"));
        description_.tmpfiles = pathOf(document_.find("tmpfiles"));
        description_.changelog = pathOf(document_.find("changelog"));
    }

    void readOptions() {
        description_.globbing = !isTrue(document_.find("disable_globbing"), false);
        if (const Value* umask = overridable("umask")) {
            description_.umask = modeOf(*umask);
        }
        if (const Value* mtime = document_.find("mtime")) {
            description_.mtime = timeOf(*mtime);
        }
        description_.strip = textOf(document_.find("strip"), Expansion::none).value_or("");
        // A note and not an error: files that are made for signing stay usable here.
        if (inDeb("signature") != nullptr) {
            description_.notes.emplace_back("deb.signature: the package is not signed");
        }
        if (const Value* kind = inDeb("compression")) {
            for (const auto compression : {stream::Compression::gzip, stream::Compression::zstd,
                                           stream::Compression::xz, stream::Compression::none}) {
                // The vocabulary has these four words, so one of them matches.
                if (kind->text == stream::nameOf(compression)) {
                    description_.compression = compression;
                }
            }
        }
    }

    const Value& document_;
    const Value* deb_ = nullptr;
    const Value* overrides_ = nullptr;
    Description description_;
};

}  // namespace

Description readDescription(const std::string& text, const std::string& file) {
    // Outlives the reader, which keeps pointers into it; the description copies what it needs.
    const Value document = readYaml(text, file);
    return DescriptionReader(document, file).run();
}

}  // namespace bex::buildfile
