#include <string>
#include <string_view>
#include <utility>

#include "buildfile/model/Checks.hpp"
#include "buildfile/model/ContentsReader.hpp"
#include "buildfile/model/Description.hpp"
#include "buildfile/model/Document.hpp"
#include "buildfile/model/FieldReader.hpp"
#include "buildfile/model/SignatureReader.hpp"
#include "buildfile/yaml/YamlReader.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

/// Turns a checked document into a description.
class DescriptionReader {
public:
    DescriptionReader(const Document& document, std::vector<std::string> skipped) : document_(document) {
        description_.file = document.file();
        description_.skipped = std::move(skipped);
    }

    // Once only: the description is moved out.
    Description run() {
        description_.control = readFields(document_);
        readScripts();
        readTriggers();
        description_.contents = readContents(document_, description_.skipped);
        readSystem();
        readOptions();
        readCompression();
        description_.signature = readSignature(document_, description_.notes);
        return std::move(description_);
    }

private:
    void readScript(const Value* value, const char* member) {
        if (auto path = document_.path(value)) {
            description_.scripts.emplace(member, std::move(*path));
        }
    }

    void readScripts() {
        constexpr std::pair<const char*, const char*> kMembers[] = {{"preinstall", "preinst"},
                                                                    {"postinstall", "postinst"},
                                                                    {"preremove", "prerm"},
                                                                    {"postremove", "postrm"}};
        // The overrides first: emplace() keeps what is there, so each script is overridden by itself.
        for (const Value* scripts : document_.layers("scripts")) {
            for (const auto& [key, member] : kMembers) {
                readScript(memberOf(scripts, key), member);
            }
        }
        // Control members that only Debian packages have.
        for (const char* member : {"rules", "templates", "config"}) {
            readScript(memberOf(document_.inDeb("scripts"), member), member);
        }
    }

    void readTriggers() {
        const Value* triggers = document_.inDeb("triggers");
        if (triggers == nullptr) {
            return;
        }
        for (const Member& member : triggers->members) {
            std::string directive = member.name;
            // The keys are deb-triggers(5)'s directives with an underscore: interest_noawait is interest-noawait.
            if (const std::size_t underscore = directive.find('_'); underscore != std::string::npos) {
                directive[underscore] = '-';
            }
            for (const std::string& name : document_.texts(&member.value)) {
                description_.triggers += directive + " " + name + "\n";
            }
        }
    }

    void readSystem() {
        if (const Value* systemd = document_.find("systemd")) {
            // The order of the members of Systemd.
            description_.systemd = {document_.paths(systemd->find("units")),
                                    document_.paths(systemd->find("user-units")),
                                    isTrue(systemd->find("enable"), true), isTrue(systemd->find("start"), true),
                                    isTrue(systemd->find("restart-on-upgrade"), true)};
        }
        description_.sysusers = document_.path(document_.find("sysusers"));
        description_.tmpfiles = document_.path(document_.find("tmpfiles"));
        description_.changelog = document_.path(document_.find("changelog"));
    }

    void readOptions() {
        description_.globbing = !isTrue(document_.find("disable_globbing"), false);
        if (const Value* umask = document_.overridable("umask")) {
            description_.umask = document_.mode(*umask);
        }
        if (const Value* mtime = document_.find("mtime")) {
            description_.mtime = document_.time(*mtime);
        }
        description_.strip = document_.text(document_.find("strip"), Expansion::none).value_or("");
    }

    void readCompression() {
        const Value* value = document_.inDeb("compression");
        if (value == nullptr || value->text.empty()) {
            return;
        }
        const std::string_view text = value->text;
        const std::size_t colon = text.find(':');
        for (const auto compression : {stream::Compression::gzip, stream::Compression::zstd,
                                       stream::Compression::xz, stream::Compression::none}) {
            // The vocabulary has these four words, so one of them matches.
            if (text.substr(0, colon) == stream::nameOf(compression)) {
                description_.compression = compression;
            }
        }
        if (colon != std::string_view::npos) {
            description_.level = levelOf(text.substr(colon + 1), *value);
        }
    }

    /// A level in digits; nothing for -1, which stands for the usual one.
    std::optional<int> levelOf(std::string_view digits, const Value& value) const {
        const stream::CompressionLevels levels = stream::levelsOf(*description_.compression);
        const auto level = stream::parseWhole<int>(digits);
        if (level == -1) {
            return std::nullopt;
        }
        if (!level || *level < levels.lowest || *level > levels.highest) {
            fail(document_.file(), value.at,
                 "deb.compression " + quotedText(value.text) + ": " +
                     std::string(stream::nameOf(*description_.compression)) + " has levels " +
                     std::to_string(levels.lowest) + " to " + std::to_string(levels.highest));
        }
        return level;
    }

    const Document& document_;
    Description description_;
};

}  // namespace

Description readDescription(const std::string& text, const std::string& file) {
    // Both outlive the reader, which keeps references to them; the description copies what it needs.
    const Value root = readYaml(text, file);
    // Before anything is read: from here on every value is of the kind that the vocabulary gives its key.
    std::vector<std::string> skipped = checkDocument(root, file);
    const Document document(root, file);
    return DescriptionReader(document, std::move(skipped)).run();
}

}  // namespace bex::buildfile
