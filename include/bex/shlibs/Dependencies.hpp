#pragma once

#include <string>
#include <vector>

#include "bex/stream/Export.hpp"
#include "bex/stream/PackageReader.hpp"

namespace bex::shlibs {

/// A file or symlink of a package that is still to be built.
struct PackagedFile {
    std::string path;        ///< in the package
    std::string source;      ///< of a file: where it is on disk
    std::string linkTarget;  ///< of a symlink; empty for a file
};

/// Which files are examined, and where the libraries that they need are looked for.
struct Request {
    /// ELF files, directories (each file system tree as it will be below "/"), packages. A file that is named
    /// must be ELF or a package; other files in trees and packages are skipped.
    std::vector<std::string> inputs;
    /// The files of one package; files that are not ELF are skipped. A library among these files needs no
    /// dependency, in whatever directory it is.
    std::vector<PackagedFile> payload;
    /// The Debian name of the architecture whose dependencies are wanted, such as "arm64". Empty: that of the ELF
    /// files if they all have the same, else that of the package, else that of the database. Files of another
    /// architecture are skipped, and Report::notes names each.
    std::string architecture;
    /// A directory to use as "/": libraries, ld.so.conf, /etc/dpkg and the database are looked for below it.
    std::string sysroot;
    /// dpkg's database; empty: var/lib/dpkg below `sysroot`.
    std::string admindir;
    /// Package files, or directories of them (*.deb, *.bex). If there are any, libraries are looked for only in
    /// their symbols and shlibs files, not on this machine.
    std::vector<std::string> from;
    /// Directories with private libraries, searched before those of the system, both below the examined tree and
    /// on this machine.
    std::vector<std::string> libdirs;
    /// The directory with shlibs.local, control and the build trees of a source package; it may be absent.
    std::string debianDirectory = "debian";
    /// Libraries without a provider are notes instead of Report::missing.
    bool ignoreMissing = false;
    /// For the packages among `inputs` and `from`.
    stream::ReadOptions reading;
};

/// Why a dependency has its version: the use that needs the newest version.
struct Reason {
    std::string dependency;  ///< as in Report::dependencies
    std::string file;        ///< which needs the library
    std::string library;     ///< its SONAME
    std::string path;        ///< where the library was found; empty with Request::from
    std::string package;     ///< which provides it, as dpkg names it ("libc6:amd64"); empty for overrides
    std::string symbol;      ///< "name@version"; empty if no symbol decides
    std::string version;     ///< the minimum version; empty if there is none
};

/// A library that a file needs and for which there is no dependency.
struct Missing {
    std::string file;
    std::string library;
    std::string path;                   ///< where it was found; empty if it was not
    std::vector<std::string> searched;  ///< where it was looked for
    std::string message;                ///< one line for people
    std::string hint;                   ///< what may help, or empty
};

struct Report {
    /// In the order of dpkg-shlibdeps(1), each once; "a | b" is one.
    std::vector<std::string> dependencies;
    std::vector<Reason> reasons;     ///< at least one for each dependency, in their order
    std::vector<Missing> missing;    ///< if there is one, `dependencies` is incomplete
    std::vector<std::string> notes;  ///< one line for people each: skipped files, unusual data
    std::string architecture;        ///< that of the examined files; empty if none is ELF

    /// The value of a Depends field; empty if there is no dependency.
    std::string field() const {
        std::string text;
        for (const std::string& dependency : dependencies) {
            text += (text.empty() ? "" : ", ") + dependency;
        }
        return text;
    }
};

/// Finds the packages with the shared libraries that the files need, and their minimum versions, as
/// dpkg-shlibdeps(1) does with deb-symbols(5) and deb-shlibs(5). Time grows with the files and with their
/// undefined symbols; files are examined one after the other, so memory does not grow with their number. Throws
/// stream::StreamError.
BEX_EXPORT Report findDependencies(const Request& request);

}  // namespace bex::shlibs

/// findDependencies() under a name that dlsym(3) finds, for programs that load the library only when they need it.
extern "C" BEX_EXPORT void bexFindDependencies(const bex::shlibs::Request& request, bex::shlibs::Report& report);
