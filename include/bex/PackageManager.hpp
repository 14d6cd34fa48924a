#pragma once

#include <iosfwd>
#include <list>
#include <string>

#include "bex/Export.hpp"

namespace bex {

class MemoryMappedFile;

/// One bex package that is being built or read: a path, payload entries and control fields.
///
/// A caller gets an object from PackageManagerFactory, binds it to a path with open(), adds content, sets
/// fields and writes it once with close(); or opens a package that exists, looks at it and extracts it.
/// Failures are thrown as BexException; those of Boost.Filesystem and of the standard library pass through.
/// An object is used by one thread at a time.
class BEX_EXPORT PackageManager {
public:
    virtual ~PackageManager();

    /// A new package with the same path, names and fields, which the caller deletes. It lists the very same
    /// records: of an object and its clones only one may be closed.
    virtual PackageManager* clone() const = 0;

    /// Does nothing: packages are not written to streams.
    virtual void open(std::ostream& out) = 0;

    /// Binds the package to `path`. When `path` can be opened for reading, the package stored there is loaded
    /// on top of what the object already holds; otherwise a new package begins and nothing is created before
    /// close(). After a throw the path is what it was; what had been loaded by then stays.
    virtual void open(const std::string& path) = 0;

    /// Adds the file or the whole directory tree `src` under the package path `dst`, or under `src` itself
    /// when `dst` is empty. A path that is already in the package is silently left alone. Contents are read
    /// by close(), not here. Throws BexException when `src` does not exist; then, and when the walk of a
    /// directory fails, the package is unchanged.
    virtual void add(const std::string& src, const std::string& dst) = 0;

    /// Does nothing.
    virtual void add(const MemoryMappedFile& file) = 0;

    /// Adds each path in order, under itself. What was added before a throw stays.
    virtual void add(const std::list<std::string>& paths) = 0;

    /// Does nothing.
    virtual void add(const std::list<MemoryMappedFile*>& files) = 0;

    /// The setters store the value as it stands and replace an earlier one. Only setMaintainer() and
    /// setEssential() refuse a value: they then throw BexException and keep what was there.
    /// close() demands a package name, a version and a description that are not empty.
    virtual void setPackageName(const std::string& value) = 0;

    /// Takes "Firstname Lastname <local@domain.tld"; the closing bracket and what follows are not looked at.
    virtual void setMaintainer(const std::string& value) = 0;
    virtual void setArchitecture(const std::string& value) = 0;
    virtual void setDescription(const std::string& value) = 0;
    virtual void setSection(const std::string& value) = 0;
    virtual void setPriority(const std::string& value) = 0;

    /// Takes "yes" or "no".
    virtual void setEssential(const std::string& value) = 0;
    virtual void setVersion(const std::string& value) = 0;

    /// The package paths of all payload entries in the order of adding. Lives as long as the object.
    virtual const std::list<std::string>& getFiles() const = 0;

    /// Writes the package to its path, over what is there, and prints one line that says so. Throws
    /// BexException when path, payload or a mandatory field is missing, and the call may then be repeated;
    /// and when the package cannot be built or written, and no package file is then left behind.
    ///
    /// Called once: from the moment the payload is being written, the in-memory records that were added are
    /// gone when close() ends, also by a throw (their byte buffers remain the caller's). The object is then
    /// only to be destroyed. Holds the whole payload in memory, compressed, in a buffer of an estimated size:
    /// incompressible content of more than about 700 KB does not fit and is refused.
    virtual void close() = 0;

    /// Writes every in-memory entry (thus all that open() loaded, none of the files on disk) below the
    /// directory `destination`. `topReplacement`, when not empty, takes the place of the first path element of
    /// every name. Modes and times are not restored.
    ///
    /// An entry that leads out of `destination`, by its name or by a symbolic link that stands on its way, or
    /// which cannot be written, is silently skipped. A symbolic link within `destination` is followed; under an
    /// entry's own name a link that leads out, a file with several names, a FIFO and a device are replaced instead
    /// of written through. Not safe against who changes `destination` meanwhile. Throws BexException when
    /// `destination` is not a directory, and Boost's error when a directory cannot be made; what was written
    /// before stays.
    virtual void extract(const std::string& destination, const std::string& topReplacement) = 0;

    /// The extension of package files, without a dot.
    virtual const std::string& getExtension() const = 0;

    /// Prints the package paths to standard output, one per line.
    virtual void printFiles() const = 0;

    /// Prints the control fields to standard output as lines of the control file.
    virtual void printInfo() const = 0;

protected:
    PackageManager() = default;
    PackageManager(const PackageManager&) = default;
    PackageManager& operator=(const PackageManager&) = delete;
};

}  // namespace bex
