#pragma once

#include <functional>
#include <string>

#include "stream/system/Descriptor.hpp"
#include "stream/system/System.hpp"

namespace bex::stream {

/// Calls `make` with hidden names, ".bex-" and random digits, until it makes something there: it must fail with
/// EEXIST where the name is taken. Gives the name; "" and errno when `make` failed with another error, or every
/// name of many was taken. Not from the target's name: that may be as long as a name can be.
std::string makeTemporary(const std::function<bool(const char* name)>& make);

/// A new, empty file in a directory, open for reading and writing. It has no name; where the file system has no
/// unnamed files it gets a hidden one, as makeTemporary() says. Destroyed, it leaves nothing behind.
class TemporaryFile {
public:
    enum class Use {
        scratch,  ///< for this process alone: a name is removed at once, so that not even a killed process leaves
                  ///< it
        target  ///< for moveTo(); others may read it as far as the umask allows. A name it needs stays until then
    };

    /// Makes the file in the open directory, which must outlive this. No file and errno when that fails.
    TemporaryFile(int directory, Use use, System& system);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    explicit operator bool() const noexcept { return static_cast<bool>(file_); }
    int get() const noexcept { return file_.get(); }

    /// Gives a file for `target` a hidden name in its directory. False and errno when that fails.
    bool giveName();
    /// Renames it over `name`, after giveName(). False and errno when that fails.
    bool moveTo(const char* name);

private:
    Descriptor open(const char* name, int flags) const;
    bool isLinkable() const;
    void openNamed();

    const int directory_;
    const Use use_;
    System& system_;
    Descriptor file_;
    std::string name_;  ///< while it has one
};

}  // namespace bex::stream
