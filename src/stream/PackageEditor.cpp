#include "bex/stream/PackageEditor.hpp"

#include <utility>

#include "bex/stream/PackageReader.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "stream/EditorAccess.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/control/Conffiles.hpp"
#include "stream/edit/ControlEdit.hpp"
#include "stream/edit/KeptLinks.hpp"
#include "stream/edit/PackageRewrite.hpp"
#include "stream/edit/SourcePackage.hpp"
#include "stream/verify/PackageChecks.hpp"

namespace bex::stream {

namespace {

ControlEdit readControl(const SourcePackage& source) {
    // A stream of its own: the source can be read again from the front.
    const std::unique_ptr<PackageStream> stream = source.read();
    std::vector<ControlMember> members = stream->readControl();
    return {source.path(), stream->controlRoot(), std::move(members)};
}

/// Returns the conffiles that are left out.
std::vector<std::string> copyConffiles(const std::string& text, const KeptLinks& links, PackageWriter& writer) {
    std::vector<std::string> leftOut;
    for (const ConffileLine& line : readConffiles(text).lines) {
        // The plain form, as links and writer compare paths.
        std::string path = plainPath(line.path);
        if (line.toBeRemoved) {
            writer.addRemovedConffile(path);
        } else if (links.leavesOut(path)) {
            leftOut.push_back(std::move(path));
        } else {
            writer.addConffile(path);
        }
    }
    return leftOut;
}

}  // namespace

struct PackageEditor::State {
    State(const std::string& path, const EditOptions& options, System& system)
        : source(path, options, system), control(readControl(source)) {}

    /// Verifies all of the package, and finds the links whose file is left out.
    KeptLinks look(const std::function<bool(const Entry&)>& keep) const {
        KeptLinks links;
        const std::unique_ptr<PackageStream> stream = source.read();
        stream->expect(checkControlMembers(control.members(), source.controlPlace()));
        // To the end, contents too: what is copied afterwards has been found sound.
        checkPayload(*stream, control.members(), source.controlPlace(), source.dataPlace(), PayloadDepth::contents,
                     [&](const Entry& entry) { links.see(entry, !keep || keep(entry)); });
        return links;
    }

    SourcePackage source;
    ControlEdit control;
};

PackageEditor::PackageEditor(std::unique_ptr<State> state) : state_(std::move(state)) {}

PackageEditor::PackageEditor(const std::string& path, const EditOptions& options)
    : PackageEditor(std::make_unique<State>(path, options, System::real())) {}

PackageEditor EditorAccess::withSystem(const std::string& path, const EditOptions& options, System& system) {
    return PackageEditor(std::make_unique<PackageEditor::State>(path, options, system));
}

PackageEditor::~PackageEditor() = default;
PackageEditor::PackageEditor(PackageEditor&&) noexcept = default;
PackageEditor& PackageEditor::operator=(PackageEditor&&) noexcept = default;

ControlParagraph& PackageEditor::control() {
    return state_->control.paragraph();
}

const std::vector<ControlMember>& PackageEditor::controlMembers() const noexcept {
    return state_->control.members();
}

const std::vector<Member>& PackageEditor::members() const noexcept {
    return state_->source.members();
}

void PackageEditor::setControlMember(const std::string& name, std::string contents) {
    state_->control.set(name, std::move(contents));
}

bool PackageEditor::removeControlMember(std::string_view name) {
    return state_->control.remove(name);
}

void PackageEditor::addConffile(const std::string& path) {
    state_->control.addConffile(path);
}

EditResult PackageEditor::write(const std::string& path) const {
    // Fields first: PackageRewrite takes the control archive as it is then.
    state_->control.update();
    return PackageRewrite(state_->source, state_->control, path).edit();
}

EditResult PackageEditor::repack(const std::string& path, const RepackOptions& options) const {
    CompressionSettings settings;
    settings.compression = options.compression;
    settings.level = options.level.value_or(levelsOf(options.compression).usual);
    settings.threads = threadCount(state_->source.options().threads);
    // Before the output file is made: wrong settings leave nothing behind.
    checkSettings(settings);
    state_->control.update();
    return PackageRewrite(state_->source, state_->control, path).repack(settings, options.index);
}

std::vector<std::string> PackageEditor::copyTo(PackageWriter& writer,
                                               const std::function<bool(const Entry&)>& keep) const {
    // Throws for new faults before anything is added to the writer.
    state_->control.update();
    const SourcePackage& source = state_->source;
    // The payload is read twice: which links lose their file is known only after the first time.
    const KeptLinks links = state_->look(keep);
    PackageReader reader(source.descriptor(), source.path(), source.options());
    writer.add(reader, [&](Entry& entry) { return links.apply(entry, !keep || keep(entry)); });
    // After the second reading: both saw the same bytes.
    source.requireUnchanged();
    std::vector<std::string> leftOut;
    for (const ControlMember& member : state_->control.members()) {
        const std::string name = plainPath(member.entry.path);
        if (name == "conffiles") {
            leftOut = copyConffiles(member.contents, links, writer);
        } else if (name != "control" && name != "md5sums") {
            writer.addControlMember(name, member.contents);
        }
    }
    // Fields last. "control" and "md5sums" were left out above: the one is made from these fields, the other from
    // the payload as it becomes.
    writer.control() = state_->control.paragraph();
    return leftOut;
}

}  // namespace bex::stream
