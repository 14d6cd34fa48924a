#pragma once

#include <functional>
#include <string>

#include "stream/extract/ExtractContext.hpp"

namespace bex::stream {

/// Something that is no directory and gets a name in a folder. Where the name is free it is made there; where
/// something stands already, it is made under a temporary name beside it and takes the place at settle(), so that
/// the old one is never written to and stays until the new one is complete. Removed unless settled.
class NewName {
public:
    /// `make` makes it under the name it is given, failing with EEXIST where that is taken. Throws StreamError
    /// when it cannot be made, when it is a directory that stands there, and, where existing files are kept, when
    /// anything does. `folder` and `context` must outlive this.
    NewName(const ExtractContext& context, int folder, const char* name,
            const std::function<bool(const char* name)>& make);
    ~NewName();
    NewName(const NewName&) = delete;
    NewName& operator=(const NewName&) = delete;

    /// Where it stands as yet.
    const char* current() const noexcept { return temporary_.empty() ? name_.c_str() : temporary_.c_str(); }

    /// Lets it stay, under its own name. Call once, last.
    void settle();

private:
    void requireReplaceable() const;

    const ExtractContext& context_;
    const int folder_;
    const std::string name_;
    std::string temporary_;  ///< "" where it was made under its own name
    bool settled_ = false;
};

}  // namespace bex::stream
