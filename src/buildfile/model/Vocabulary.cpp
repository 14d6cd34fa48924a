#include "buildfile/model/Vocabulary.hpp"

namespace bex::buildfile {

namespace {

/// A view of the array, which must be static: every section below is a constant for the life of the program.
template <std::size_t size>
constexpr Section sectionOf(const Key (&keys)[size]) {
    return {keys, size};
}

// Keys and meanings are those of nfpm's documented configuration, but for systemd, sysusers, tmpfiles and strip,
// which are this program's own. A section stands after those that it holds. Help texts go into the JSON schema,
// where a default stands in parentheses.
constexpr Key kFileInfoKeys[] = {
    {"mode", KeyKind::text, "Permission bits in octal digits, such as 0644"},
    {"mtime", KeyKind::text, "Modification time, such as 2008-01-02T15:04:05Z, or seconds since 1970"},
    {"owner", KeyKind::text, "Owner, by name or number (root)"},
    {"group", KeyKind::text, "Group, by name or number (root)"},
    {"lang", KeyKind::foreign, "Of another format"},
};
constexpr Section kFileInfo = sectionOf(kFileInfoKeys);

constexpr Key kContentKeys[] = {
    {"src", KeyKind::text, "File, directory or glob on this machine; what a symlink leads to"},
    {"dst", KeyKind::text, "Path in the package; below it where it ends in a slash or src is a glob"},
    {"type", KeyKind::choice, "What the entry is (a file)", nullptr,
     "file config config|noreplace config|missingok symlink dir tree config|tree config|noreplace|tree "
     "config|missingok|tree ghost doc licence license readme debug"},
    {"packager", KeyKind::text, "The one package format that the line is for"},
    {"file_info", KeyKind::section, "Attributes, instead of those on disk", &kFileInfo},
    {"expand", KeyKind::flag, "Expand $NAME in src and dst, too; false: expand nothing"},
    {"disown_subtree", KeyKind::texts,
     "Globs for directories of a tree that are only made where something is below them, with the usual "
     "attributes"},
};
constexpr Section kContent = sectionOf(kContentKeys);

constexpr Key kScriptKeys[] = {
    {"preinstall", KeyKind::text, "File with the script preinst"},
    {"postinstall", KeyKind::text, "File with the script postinst"},
    {"preremove", KeyKind::text, "File with the script prerm"},
    {"postremove", KeyKind::text, "File with the script postrm"},
};
constexpr Section kScripts = sectionOf(kScriptKeys);

constexpr Key kDebScriptKeys[] = {
    {"rules", KeyKind::text, "File with the control member rules"},
    {"templates", KeyKind::text, "File with debconf's templates"},
    {"config", KeyKind::text, "File with debconf's script config"},
};
constexpr Section kDebScripts = sectionOf(kDebScriptKeys);

constexpr Key kTriggerKeys[] = {
    {"interest", KeyKind::texts, "Triggers that the package is interested in"},
    {"interest_await", KeyKind::texts, "The same, and who activates them waits"},
    {"interest_noawait", KeyKind::texts, "The same, and who activates them does not wait"},
    {"activate", KeyKind::texts, "Triggers that the package activates"},
    {"activate_await", KeyKind::texts, "The same, and the package waits"},
    {"activate_noawait", KeyKind::texts, "The same, and the package does not wait"},
};
constexpr Section kTriggers = sectionOf(kTriggerKeys);

constexpr Key kSignatureKeys[] = {
    {"key_file", KeyKind::text, "File with the secret OpenPGP key; without it the package is not signed"},
    {"key_id", KeyKind::text, "Hexadecimal ID or fingerprint of the key (the first subkey that can sign)"},
    {"type", KeyKind::choice, "Role of the signer (debsign: origin; dpkg-sig, which alone has builder: builder)",
     nullptr, "origin maint archive builder"},
    {"method", KeyKind::choice, "How: debsign is stronger, dpkg-sig signs MD5 and SHA-1 digests (debsign)",
     nullptr, "debsign dpkg-sig"},
    {"signer", KeyKind::text, "dpkg-sig: the signer's name (the maintainer)"},
};
constexpr Section kSignature = sectionOf(kSignatureKeys);

constexpr Key kDebKeys[] = {
    {"arch", KeyKind::text, "Debian's name of the architecture, taken as it is"},
    {"arch_variant", KeyKind::text, "Architecture-Variant, such as amd64v3"},
    {"scripts", KeyKind::section, "Control members that only Debian packages have", &kDebScripts},
    {"triggers", KeyKind::section, "deb-triggers(5)", &kTriggers},
    {"breaks", KeyKind::texts, "Breaks"},
    {"predepends", KeyKind::texts, "Pre-Depends"},
    {"compression", KeyKind::level, "How the package is compressed, and how hard: gzip, zstd:19 (gzip)", nullptr,
     "gzip zstd xz none"},
    {"signature", KeyKind::section, "The package's own signature", &kSignature},
    {"fields", KeyKind::textMap, "Further fields of the control file; empty ones are left out"},
    {"metadata", KeyKind::text, "The older place of version_metadata"},
};
constexpr Section kDeb = sectionOf(kDebKeys);

constexpr Key kOverrideKeys[] = {
    {"replaces", KeyKind::texts, "Replaces"},
    {"provides", KeyKind::texts, "Provides"},
    {"depends", KeyKind::texts, "Depends"},
    {"recommends", KeyKind::texts, "Recommends"},
    {"suggests", KeyKind::texts, "Suggests"},
    {"conflicts", KeyKind::texts, "Conflicts"},
    {"contents", KeyKind::sections, "What the package holds", &kContent},
    {"umask", KeyKind::text, "Permission bits, in octal digits, that no file from disk keeps (0002)"},
    {"scripts", KeyKind::section, "Maintainer scripts", &kScripts},
    {"deb", KeyKind::section, "What only Debian packages have", &kDeb},
    {"rpm", KeyKind::foreign, "Of another format"},
    {"apk", KeyKind::foreign, "Of another format"},
    {"archlinux", KeyKind::foreign, "Of another format"},
    {"ipk", KeyKind::foreign, "Of another format"},
    {"msix", KeyKind::foreign, "Of another format"},
};
constexpr Section kOverride = sectionOf(kOverrideKeys);

// Sections of other formats are known by name and not looked into: a file for several formats is usable as it is.
constexpr Key kOverridesKeys[] = {
    {"deb", KeyKind::section, "What Debian packages have instead", &kOverride},
    {"rpm", KeyKind::foreign, "Of another format"},
    {"srpm", KeyKind::foreign, "Of another format"},
    {"apk", KeyKind::foreign, "Of another format"},
    {"archlinux", KeyKind::foreign, "Of another format"},
    {"ipk", KeyKind::foreign, "Of another format"},
    {"msix", KeyKind::foreign, "Of another format"},
};
constexpr Section kOverrides = sectionOf(kOverridesKeys);

constexpr Key kSystemdKeys[] = {
    {"units", KeyKind::texts, "Unit files on this machine, or paths of units that contents bring"},
    {"user-units", KeyKind::texts, "The same for units of users' own service managers"},
    {"enable", KeyKind::flag, "Enable the units when the package is installed (true)"},
    {"start", KeyKind::flag, "Start the system's units when the package is installed (true)"},
    {"restart-on-upgrade", KeyKind::flag,
     "Restart the system's units that run when the package is upgraded (true)"},
};
constexpr Section kSystemd = sectionOf(kSystemdKeys);

constexpr Key kDocumentKeys[] = {
    {"name", KeyKind::text, "Package"},
    {"arch", KeyKind::text, "Architecture, as Go, the kernel or Debian names it (this machine's)"},
    {"platform", KeyKind::text, "linux, or what stands before the architecture"},
    {"version", KeyKind::text, "Version; one of semantic versioning is brought into Debian's form"},
    {"version_schema", KeyKind::choice, "Whether the version is parsed (semver)", nullptr, "semver none"},
    {"epoch", KeyKind::text, "Epoch of the version"},
    {"prerelease", KeyKind::text, "Follows the version after a tilde, in place of its own"},
    {"version_metadata", KeyKind::text, "Follows the version after a plus, in place of its own"},
    {"release", KeyKind::text, "Revision of the version"},
    {"section", KeyKind::text, "Section"},
    {"priority", KeyKind::text, "Priority (optional)"},
    {"maintainer", KeyKind::text, "Maintainer: Name <address>"},
    {"description", KeyKind::text, "Description: a synopsis, and paragraphs after it"},
    {"vendor", KeyKind::foreign, "Of other formats"},
    {"homepage", KeyKind::text, "Homepage"},
    {"license", KeyKind::foreign, "No field of Debian's: usr/share/doc/NAME/copyright has it"},
    {"mtime", KeyKind::text, "Modification time of what has none on disk, and of the control archive"},
    {"changelog", KeyKind::text, "File with a changelog in chglog's form"},
    {"disable_globbing", KeyKind::flag, "Take src as it is written"},
    {"replaces", KeyKind::texts, "Replaces"},
    {"provides", KeyKind::texts, "Provides"},
    {"depends", KeyKind::texts, "Depends; auto stands for the shared libraries' packages"},
    {"recommends", KeyKind::texts, "Recommends"},
    {"suggests", KeyKind::texts, "Suggests"},
    {"conflicts", KeyKind::texts, "Conflicts"},
    {"contents", KeyKind::sections,
     "What the package holds; a later line refines what a directory or glob brought", &kContent},
    {"umask", KeyKind::text, "Permission bits, in octal digits, that no file from disk keeps (0002)"},
    {"scripts", KeyKind::section, "Maintainer scripts", &kScripts},
    {"overrides", KeyKind::section, "What single formats have instead", &kOverrides},
    {"deb", KeyKind::section, "What only Debian packages have", &kDeb},
    {"rpm", KeyKind::foreign, "Of another format"},
    {"srpm", KeyKind::foreign, "Of another format"},
    {"apk", KeyKind::foreign, "Of another format"},
    {"archlinux", KeyKind::foreign, "Of another format"},
    {"ipk", KeyKind::foreign, "Of another format"},
    {"msix", KeyKind::foreign, "Of another format"},
    {"systemd", KeyKind::section, "Units of systemd(1) and what is done with them", &kSystemd},
    {"sysusers", KeyKind::text, "File in the form of sysusers.d(5): users that the package needs"},
    {"tmpfiles", KeyKind::text, "File in the form of tmpfiles.d(5)"},
    {"strip", KeyKind::choice, "Debug symbols (none: they are kept)", nullptr, "none drop dbgsym"},
};
constexpr Section kDocument = sectionOf(kDocumentKeys);

}  // namespace

/// Linear: the largest section has some fifty keys, and a build file asks for each a few times.
const Key* Section::find(std::string_view name) const noexcept {
    for (const Key& key : *this) {
        if (key.name == name) {
            return &key;
        }
    }
    return nullptr;
}

const Section& documentSection() noexcept {
    return kDocument;
}

}  // namespace bex::buildfile
