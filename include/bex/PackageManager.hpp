#pragma once

#include <iosfwd>
#include <list>
#include <string>

#include "bex/Export.hpp"

namespace bex {

class MemoryMappedFile;

/// One bex package that is being built or read: a path, payload entries and control fields.
///
/// To build a package, a caller gets an object from PackageManagerFactory, sets its path with open(), adds
/// content, sets fields and writes the package once with close(). To read one, a caller opens a path that
/// exists, looks at the contents and extracts them. Failures are thrown as BexException; exceptions of
/// Boost.Filesystem and of the standard library pass through. An object is used by one thread at a time.
class BEX_EXPORT PackageManager {
public:
    virtual ~PackageManager();

    /// Returns a new package with the same path, names and fields; the caller deletes it. Both list the same
    /// records: only one of an object and its clones may be closed.
    virtual PackageManager* clone() const = 0;

    /// Does nothing: packages are not written to streams.
    virtual void open(std::ostream& out) = 0;

    /// Sets the path of the package. When `path` can be opened for reading, loads the package that is stored
    /// there and adds it to what the object already holds. Otherwise begins a new package; nothing is created
    /// before close(). After a throw the path is unchanged, and contents that were loaded before it stay.
    virtual void open(const std::string& path) = 0;

    /// Adds the file or the whole directory tree `src` under the package path `dst`, or under `src` itself
    /// when `dst` is empty. Does nothing when the package already has that path. The contents are read by
    /// close(). Throws BexException when `src` does not exist. The package is unchanged then, and when a
    /// directory cannot be read.
    virtual void add(const std::string& src, const std::string& dst) = 0;

    /// Does nothing.
    virtual void add(const MemoryMappedFile& file) = 0;

    /// Adds each path in order, under the path itself. Paths that were added before a throw stay.
    virtual void add(const std::list<std::string>& paths) = 0;

    /// Does nothing.
    virtual void add(const std::list<MemoryMappedFile*>& files) = 0;

    /// The setters store the value unchanged and replace an earlier one. Only setMaintainer() and
    /// setEssential() check it: they throw BexException and keep the earlier value when the form is wrong.
    /// close() requires a package name, a version and a description that are not empty.
    virtual void setPackageName(const std::string& value) = 0;

    /// Requires "Firstname Lastname <local@domain.tld". The closing bracket and text after it are not checked.
    virtual void setMaintainer(const std::string& value) = 0;
    virtual void setArchitecture(const std::string& value) = 0;
    virtual void setDescription(const std::string& value) = 0;
    virtual void setSection(const std::string& value) = 0;
    virtual void setPriority(const std::string& value) = 0;

    /// Requires "yes" or "no".
    virtual void setEssential(const std::string& value) = 0;
    virtual void setVersion(const std::string& value) = 0;

    /// Returns the package paths of all payload entries in the order of adding. The list lives as long as the
    /// object.
    virtual const std::list<std::string>& getFiles() const = 0;

    /// Writes the package to its path, replacing a file that exists, and prints one line that says so. Holds
    /// the whole compressed payload in memory, in a buffer of an estimated size: incompressible content of
    /// more than about 700 KB does not fit.
    ///
    /// Throws BexException:
    /// - when the path, the payload or a mandatory field is missing; close() may then be called again;
    /// - when the archives cannot be built or the file cannot be opened; a file at the path is unchanged;
    /// - when not all bytes reach the file; it is removed, and the old contents of the path are lost. Devices
    ///   and pipes are not removed.
    ///
    /// From the moment the payload is written, close() owns the in-memory records and deletes them, even when
    /// it throws; their byte buffers remain the caller's. The object may then only be destroyed.
    virtual void close() = 0;

    /// Writes every in-memory entry (all that open() has loaded, none of the files on disk) below the
    /// directory `destination`, and writes nothing outside it. When `topReplacement` is not empty, it replaces
    /// the first path element of every name. Creates missing directories. Restores no modes and no times.
    ///
    /// What exists in `destination` is respected:
    /// - A regular file is overwritten and keeps its permission bits. When it has several names, a new file
    ///   with these bits replaces it, because another name may be outside `destination`.
    /// - A symbolic link is followed when it leads inside `destination`; a missing target is created.
    /// - Directories, FIFOs, sockets, devices and links that lead outside are never written to or removed.
    ///
    /// Skips an entry without an error when one of these rules forbids to write it, when its name leads outside
    /// `destination`, and when its file cannot be opened or written. Throws BexException when `destination` is
    /// not a directory, and Boost's error when a directory cannot be created; files written before it stay.
    /// Do not use it while an untrusted process can change `destination`.
    virtual void extract(const std::string& destination, const std::string& topReplacement) = 0;

    /// Returns the extension of package files, without a dot.
    virtual const std::string& getExtension() const = 0;

    /// Prints the package paths to standard output, one per line.
    virtual void printFiles() const = 0;

    /// Prints the control fields to standard output, in the form of the control file.
    virtual void printInfo() const = 0;

protected:
    PackageManager() = default;
    PackageManager(const PackageManager&) = default;
    PackageManager& operator=(const PackageManager&) = delete;
};

}  // namespace bex
