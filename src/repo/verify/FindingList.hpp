#pragma once

#include <string>
#include <utility>
#include <vector>

#include "bex/stream/Finding.hpp"

namespace bex::repo {

/// The findings about one repository.
class FindingList {
public:
    explicit FindingList(std::string root) : root_(std::move(root)) {}

    /// Notes a finding about the file at `path` below the root.
    void note(stream::Severity severity, std::string code, std::string path, std::string reason) {
        stream::ErrorRecord record;
        record.kind = stream::ErrorKind::damaged;
        record.code = std::move(code);
        record.package = root_;
        record.entry = std::move(path);
        record.reason = std::move(reason);
        found_.emplace_back(severity, record);
    }
    void error(std::string code, std::string path, std::string reason) {
        note(stream::Severity::error, std::move(code), std::move(path), std::move(reason));
    }
    void warning(std::string code, std::string path, std::string reason) {
        note(stream::Severity::warning, std::move(code), std::move(path), std::move(reason));
    }

    /// Appends findings that were made elsewhere, about the file at `path`.
    void append(const std::string& path, const std::vector<stream::Finding>& findings) {
        for (stream::Finding finding : findings) {
            if (!finding.entry.empty() || !finding.member.empty()) {
                finding.reason = (finding.entry.empty() ? finding.member : finding.entry) + ": " + finding.reason;
            }
            finding.package = root_;
            finding.member.clear();
            finding.entry = path;
            found_.push_back(std::move(finding));
        }
    }
    void append(const FindingList& other) {
        found_.insert(found_.end(), other.found_.begin(), other.found_.end());
    }

    const std::vector<stream::Finding>& all() const noexcept { return found_; }

private:
    std::string root_;
    std::vector<stream::Finding> found_;
};

}  // namespace bex::repo
