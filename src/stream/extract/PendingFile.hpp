#pragma once

#include <functional>
#include <string>

#include "stream/extract/ExtractContext.hpp"

namespace bex::stream {

/// A file or link being created: under its own name if that is free, otherwise under a temporary one that replaces
/// the old file at settle(). The old file is never written to and stays until the new one is complete. Removed
/// unless settled. Where existing files are kept, nothing is created and kept() is true.
class PendingFile {
public:
    /// `make` creates it under the name it is given and fails with EEXIST where that is taken. Throws StreamError
    /// when it cannot be created, when a directory has the name, and, for Existing::error, when anything has.
    /// `directory` and `context` must outlive this.
    PendingFile(const ExtractContext& context, int directory, const char* name,
                const std::function<bool(const char* name)>& make);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    /// Whether something had the name, and is left alone.
    bool kept() const noexcept { return kept_; }

    /// The name that it has until settle().
    const char* current() const noexcept {
        if (temporary_.empty()) {
            return name_.c_str();
        }
        return temporary_.c_str();
    }

    /// Gives it its own name and keeps it. Call once, last.
    void settle();

private:
    void requireReplaceable() const;

    const ExtractContext& context_;
    const int directory_;
    const std::string name_;
    std::string temporary_;  ///< "" where it was made under its own name
    bool settled_ = false;
    bool kept_ = false;
};

}  // namespace bex::stream
