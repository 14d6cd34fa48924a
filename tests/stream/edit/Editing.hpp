#pragma once

#include <string>

#include "Archives.hpp"
#include "Failure.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/stream/PackageEditor.hpp"
#include "stream/EditorAccess.hpp"
#include "stream/FailingSystem.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/system/Surroundings.hpp"

namespace bex::test {

/// A package on disk, "old.bex", that is changed by an editor.
struct Edited {
    explicit Edited(const std::string& bytes = soundPackage()) : path(folder.write("old.bex", bytes)) {}

    stream::PackageEditor editor(stream::System& system = stream::System::real()) const {
        return stream::EditorAccess::withSystem(path, options, system);
    }
    std::string old() const { return folder.read("old.bex"); }
    std::string made() const { return folder.read("new.bex"); }

    /// The member's contents, which begin after its header.
    static std::string member(const std::string& package, const std::string& name) {
        const std::size_t header = package.find(padded(name, 16, ' '));
        return package.substr(header + 60, std::stoul(package.substr(header + 48, 10)));
    }

    TemporaryDirectory folder;
    std::string path;
    std::string target = folder / "new.bex";
    stream::EditOptions options;
};

}  // namespace bex::test
