#include "bex/buildfile/BuildFile.hpp"

#include <fcntl.h>

#include <cerrno>
#include <cstddef>
#include <map>
#include <utility>

#include "buildfile/contents/Changelog.hpp"
#include "buildfile/contents/ContentLines.hpp"
#include "buildfile/contents/Payload.hpp"
#include "buildfile/model/Description.hpp"
#include "buildfile/scripts/MaintainerScripts.hpp"
#include "buildfile/signing/Signature.hpp"
#include "stream/base/DescriptorBytes.hpp"
#include "stream/base/Owners.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

// A build file is written by hand. The parser reads it whole, so its size is bounded first.
constexpr std::size_t kMostBytes = std::size_t{16} << 20;
// In the order in which debhelper has them: a system with another init may have one of the smaller programs alone.
constexpr const char* kSysusersPackages = "systemd | systemd-standalone-sysusers | systemd-sysusers";

/// The whole file, which the build file names at path.at: messages name that place.
std::string contentsOf(const NamedPath& path, const Description& description) {
    const stream::PlainDescriptor file(::open(path.path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        failSystem(description.file, path.at, path.path, errno);
    }
    std::string text;
    if (const int error = stream::readToEnd(file.get(), text)) {
        failSystem(description.file, path.at, path.path, error);
    }
    return text;
}

/// Does all reading in the constructor, so that every error of the description comes before a package is begun.
class DescribedPackage : public BuildFile {
public:
    DescribedPackage(Description description, stream::ControlParagraph& control)
        : description_(std::move(description)), payload_(description_.file), lines_(description_, payload_) {
        // The order matters. Names of files below are made from the merged fields; later lines of contents refine
        // earlier ones; scripts need to know the units and owners of all that was added.
        mergeControl(control);
        for (const Content& line : description_.contents) {
            lines_.add(line);
        }
        addSystemFiles();
        readScripts();
        if (description_.changelog) {
            makeChangelog();
        }
        if (description_.signature) {
            signingKey_ = contentsOf(description_.signature->keyFile, description_);
        }
        files_ = payload_.files();
        collectRequests();
    }
    DescribedPackage(const DescribedPackage&) = delete;
    DescribedPackage& operator=(const DescribedPackage&) = delete;

    const Requests& requests() const noexcept override { return requests_; }
    const std::vector<PackagedFile>& files() const noexcept override { return files_; }

    void addTo(stream::PackageWriter& writer, const Substitute& substitute) const override {
        payload_.addTo(writer, substitute);
        if (!changelog_.empty()) {
            stream::Attributes attributes;
            attributes.mtime = description_.mtime;
            writer.addBytes(changelog_, changelogPath_, attributes);
        }
        for (const auto& [member, text] : members_) {
            writer.addControlMember(member, text);
        }
    }

    std::vector<stream::TrailingMember> trailingMembers() const override {
        if (!description_.signature) {
            return {};
        }
        return {signatureMember(description_, signingKey_)};
    }

private:
    void mergeControl(stream::ControlParagraph& control) {
        for (const auto& field : control.fields()) {
            // Fields that the caller has set already, from the command line, win over those of the file.
            description_.control.set(field.name, field.value);
        }
        if (description_.sysusers) {
            // postinst calls the program, so it must be configured before: Depends gives that.
            std::string depends = fieldOf("Depends");
            stream::appendPart(depends, ", ", kSysusersPackages);
            description_.control.set("Depends", depends);
        }
        // The caller's paragraph becomes the merged one, which the package is built from.
        control = description_.control;
    }

    /// The merged field's value; empty where there is none.
    std::string fieldOf(const char* name) const {
        const std::string* value = description_.control.find(name);
        if (value == nullptr) {
            return "";
        }
        return *value;
    }

    /// Packages the unit, unless it is a path of the package, and returns its name.
    std::string addUnit(const NamedPath& unit, const std::string& directory) {
        const std::string name = unit.path.substr(unit.path.rfind('/') + 1);
        // A path that contents bring is installed already, and is meant before a file of that name on this
        // machine.
        if (unit.path.front() != '/' || !payload_.has(stream::plainPath(unit.path))) {
            lines_.addFile(unit, directory + name);
        }
        return name;
    }

    void addSystemFiles() {
        const Systemd& systemd = description_.systemd;
        for (const NamedPath& unit : systemd.units) {
            steps_.units.push_back(addUnit(unit, "usr/lib/systemd/system/"));
        }
        for (const NamedPath& unit : systemd.userUnits) {
            steps_.userUnits.push_back(addUnit(unit, "usr/lib/systemd/user/"));
        }
        steps_.enable = systemd.enable;
        steps_.start = systemd.start;
        steps_.restartOnUpgrade = systemd.restartOnUpgrade;
        // The package's name keeps files of different packages apart in directories that they share.
        const std::string name = fieldOf("Package") + ".conf";
        if (description_.sysusers) {
            steps_.sysusers = contentsOf(*description_.sysusers, description_);
            // The text becomes a here-document of preinst, whose end must be a line of its own.
            if (steps_.sysusers.empty() || steps_.sysusers.back() != '\n') {
                steps_.sysusers += '\n';
            }
            steps_.sysusersName = name;
            lines_.addFile(*description_.sysusers, "usr/lib/sysusers.d/" + name);
        }
        if (description_.tmpfiles) {
            steps_.tmpfilesName = name;
            lines_.addFile(*description_.tmpfiles, "usr/lib/tmpfiles.d/" + name);
        }
        // Last, when all of the payload is known: dpkg resolves owners' names as it unpacks, before postinst runs.
        steps_.usersAtUnpacking = payload_.hasNamedOwners();
    }

    void readScripts() {
        std::map<std::string, std::string> own;
        for (const auto& [member, path] : description_.scripts) {
            // Control members without steps (rules, templates, config) pass through this map as well.
            own.emplace(member, contentsOf(path, description_));
        }
        members_ = maintainerScripts(steps_, own, description_);
        if (!description_.triggers.empty()) {
            members_.emplace("triggers", description_.triggers);
        }
    }

    void makeChangelog() {
        const std::string package = fieldOf("Package");
        changelog_ = gzipped(debianChangelog(contentsOf(*description_.changelog, description_),
                                             description_.changelog->path, package));
        changelogPath_ = "usr/share/doc/" + package + "/" + changelogName(fieldOf("Version"));
    }

    void collectRequests() {
        requests_ = {description_.compression, description_.level, description_.mtime, description_.strip,
                     description_.notes};
        std::string skipped;
        for (const std::string& key : description_.skipped) {
            stream::appendPart(skipped, ", ", key);
        }
        if (!skipped.empty()) {
            requests_.notes.push_back("skipped, since Debian packages have no use for it: " + skipped);
        }
    }

    Description description_;
    Payload payload_;
    ContentLines lines_;  ///< refers to the description and the payload
    SystemSteps steps_;
    std::map<std::string, std::string> members_;  ///< control members' texts by name
    std::string changelog_;                       ///< compressed
    std::string changelogPath_;
    std::string signingKey_;  ///< contents of the key file
    std::vector<PackagedFile> files_;
    Requests requests_;
};

}  // namespace

std::unique_ptr<BuildFile> readBuildFile(const std::string& path, const std::string& text,
                                         stream::ControlParagraph& control) {
    if (text.size() > kMostBytes) {
        fail(path, {}, "has more than " + std::to_string(kMostBytes) + " bytes");
    }
    return std::make_unique<DescribedPackage>(readDescription(text, path), control);
}

}  // namespace bex::buildfile

bex::buildfile::BuildFile* bexReadBuildFile(const std::string& path, const std::string& text,
                                            bex::stream::ControlParagraph& control) {
    // The tool finds this function by name in the library, so that it hands over a plain pointer: the caller owns
    // it.
    return bex::buildfile::readBuildFile(path, text, control).release();
}

void bexBuildFileSchema(std::string& schema) {
    schema = bex::buildfile::schema();
}

void bexInitialBuildFile(const std::string& directory, std::string& text) {
    text = bex::buildfile::initialFile(directory);
}
