#include <memory>
#include <string>
#include <vector>

#include "arguments/FindingCodes.hpp"

#include "bex/stream/Escape.hpp"
#include "bex/stream/Nearest.hpp"
#include "bex/stream/PackageEditor.hpp"
#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "output/ProgressBar.hpp"
#include "verbs/BuildTarget.hpp"
#include "verbs/ControlNames.hpp"
#include "verbs/EditedPackage.hpp"
#include "verbs/OptionValue.hpp"
#include "verbs/TextFile.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

using stream::PackageEditor;

namespace {

struct EditArguments {
    std::string package;
    std::string out;
    bool inPlace = false;
    std::vector<std::string> set;            ///< "NAME=VALUE", in order
    std::vector<std::string> unset;          ///< names of fields
    std::vector<std::string> scripts;        ///< "NAME=FILE"
    std::vector<std::string> removeScripts;  ///< names
    std::vector<std::string> conffiles;
    std::string versionSuffix;
    std::vector<std::string> allowed;
    bool check = false;

    bool changesFields() const { return !set.empty() || !unset.empty() || !versionSuffix.empty(); }
    bool changesAnything() const {
        return changesFields() || !scripts.empty() || !removeScripts.empty() || !conffiles.empty();
    }
};

/// For what is to be removed and is not there: a script that relies on it must not go on. `known` are the names
/// that the user may have meant.
[[noreturn]] void failAbsent(const std::string& package, const std::string& what, const std::string& name,
                             const std::vector<std::string>& known) {
    const std::string meant = stream::nearest(name, known);
    std::string text =
        stream::escapeForDisplay(package) + ": there is no " + what + " " + stream::escapeForDisplay(name);
    if (!meant.empty()) {
        text += "; did you mean " + meant + "?";
    }
    throw UsageError(text);
}

void removeField(const std::string& name, const std::string& package, stream::ControlParagraph& control) {
    // Collected before the removal, as the message offers the nearest of them.
    std::vector<std::string> names;
    for (const auto& field : control.fields()) {
        names.push_back(field.name);
    }
    if (!control.remove(name)) {
        failAbsent(package, "field", name, names);
    }
}

void appendToVersion(const std::string& suffix, const std::string& package, stream::ControlParagraph& control) {
    const std::string* version = control.find("Version");
    if (version == nullptr) {
        failAbsent(package, "field", "Version", {});
    }
    control.set("Version", *version + suffix);
}

/// Removals first, so that a field can be removed and set anew at the end; the suffix last, so that it follows a
/// version that was just set.
void changeFields(const EditArguments& arguments, PackageEditor& editor) {
    stream::ControlParagraph& control = editor.control();
    for (const auto& name : arguments.unset) {
        removeField(name, arguments.package, control);
    }
    for (const auto& field : arguments.set) {
        const auto [name, value] = split(field, field.find('='), "--set", "NAME=VALUE");
        control.set(name, value);
    }
    if (!arguments.versionSuffix.empty()) {
        appendToVersion(arguments.versionSuffix, arguments.package, control);
    }
}

void changeMembers(const EditArguments& arguments, PackageEditor& editor, Context& context) {
    for (const auto& name : arguments.removeScripts) {
        std::vector<std::string> names;
        for (const auto& member : editor.controlMembers()) {
            names.push_back(stream::plainPath(member.entry.path));
        }
        if (!editor.removeControlMember(name)) {
            failAbsent(arguments.package, "control member", name, names);
        }
    }
    for (const auto& script : arguments.scripts) {
        const auto [name, file] = split(script, script.find('='), "--script", "NAME=FILE");
        // After the removals too: "--remove-script postinst --script postinst=FILE" replaces it.
        editor.setControlMember(name, readFile(file));
        noteUnknownMember(name, context.console);
    }
    for (const auto& path : arguments.conffiles) {
        editor.addConffile(path);
    }
}

std::string targetOf(const EditArguments& arguments, PackageEditor& editor) {
    if (arguments.inPlace) {
        return arguments.package;
    }
    std::string target = targetPath(arguments.out, packageSuffix(arguments.package), editor.control());
    // A path that the user named himself may be the package; one that follows from a directory or from the fields
    // may not replace it by accident.
    if (target != arguments.out) {
        requireOther(target, arguments.package);
    }
    return target;
}

ExitStatus runEdit(EditArguments& arguments, Context& context) {
    // Everything that the command line alone decides comes before the package is opened.
    requirePackageFile(arguments.package, "PKG");
    requirePackageFile(arguments.out, "OUT");
    if (!arguments.changesAnything()) {
        throw UsageError("no option says what to change");
    }
    catchInterrupts();
    ProgressBar progress(context, "editing");
    stream::EditOptions options = editOptions(context);
    options.allow = arguments.allowed;
    options.check = arguments.check;
    options.progress = progress.callback();
    PackageEditor editor(arguments.package, options);
    // control() throws where the paragraph cannot be parsed; changes of members alone do not need it.
    if (arguments.changesFields()) {
        changeFields(arguments, editor);
    }
    changeMembers(arguments, editor, context);
    // After the changes: the name of the new package follows from its fields.
    const std::string target = targetOf(arguments, editor);
    printEdited(target, editor.write(target), false, context);
    return ExitStatus::done;
}

CLI::Option* addList(CLI::App& verb, const char* name, std::vector<std::string>& values, const char* form,
                     const char* description) {
    return verb.add_option(name, values, description)->option_text(form)->allow_extra_args(false);
}

}  // namespace

void addEdit(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<EditArguments>();
    verb->add_option("PKG", arguments->package, "The package, a file")->required();
    CLI::Option* out =
        verb->add_option("-o,--out", arguments->out, "The new package, or a directory for it")->option_text("OUT");
    verb->add_flag("--in-place", arguments->inPlace, "Replace the package itself")->excludes(out);
    addList(*verb, "--set", arguments->set, "NAME=VALUE", "Set a field; it keeps its place");
    addList(*verb, "--unset", arguments->unset, "NAME", "Remove a field");
    verb->add_option("--version-suffix", arguments->versionSuffix, "Append to Version")->option_text("TEXT");
    addList(*verb, "--script", arguments->scripts, "NAME=FILE", "Set a maintainer script or other control member");
    addList(*verb, "--remove-script", arguments->removeScripts, "NAME", "Remove one");
    addList(*verb, "--conffile", arguments->conffiles, "PATH", "Mark a file of the payload as configuration");
    addFindingCodes(*verb, "--allow", "Accept errors with this code of bex verify", arguments->allowed);
    verb->add_flag("--check", arguments->check, "Verify the result and its payload before it appears");
    verb->footer("Example: bex edit hello_1.0_amd64.deb --version-suffix '~bpo12+1'");
    onChosen(*verb, arguments, chosen, runEdit);
}

}  // namespace bex::tool
