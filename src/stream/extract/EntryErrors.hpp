#pragma once

#include <string>

namespace bex::stream {

/// The errors of an extraction: each names the package and the entry at hand.
class EntryErrors {
public:
    /// `package` as it is; it is escaped here, like the paths.
    explicit EntryErrors(std::string package);

    void setEntry(const std::string& path) { entry_ = path; }

    /// Throws StreamError (`refused`). Names within `reason` are escaped by the caller.
    [[noreturn]] void refuse(const std::string& reason) const;
    /// Throws systemFailure().
    [[noreturn]] void fail(const std::string& action, int errorNumber) const;

private:
    std::string where() const { return package_ + ": " + entry_; }

    std::string package_;
    std::string entry_;
};

}  // namespace bex::stream
