#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "bex/repo/PackageRecord.hpp"
#include "repo/index/Release.hpp"
#include "repo/verify/FindingList.hpp"
#include "repo/verify/RepositoryFiles.hpp"
#include "repo/verify/UnpackedIndex.hpp"

namespace bex::repo {

/// The check of one suite's Release file and indexes.
class SuiteCheck {
public:
    /// `path` is that of the suite's directory below the root: "dists/stable".
    SuiteCheck(const RepositoryFiles& files, const RepositoryCheck& check, std::string path, FindingList& findings)
        : files_(files), check_(check), path_(std::move(path)), findings_(findings) {}

    /// Checks all, and collects the packages by their filenames in `packages`, for whoever checks those.
    void run(std::map<std::string, PackageRecord>& packages);

private:
    std::string below(const std::string& name) const { return path_ + "/" + name; }
    std::optional<std::string> readWhole(const std::string& name);
    void readRelease();
    void checkSignature(const std::string& signedFile, const std::string& detached);
    void checkDates();
    void checkIndex(const std::string& index, const IndexedFile& expected);
    std::shared_ptr<SummedSource::Sum> openIndex(const std::string& path, bool mayBeAbsent);
    bool isAsListed(const std::string& path, const IndexedFile& found, const IndexedFile& expected);
    void checkContents(const std::string& index, const IndexedFile& expected,
                       const std::shared_ptr<SummedSource::Sum>& sum);
    void checkStanzas(const std::string& index, const UnpackedIndex& unpacked);

    const RepositoryFiles& files_;
    const RepositoryCheck& check_;
    const std::string path_;
    FindingList& findings_;
    std::optional<Release> release_;
    std::map<std::string, PackageRecord>* packages_ = nullptr;
};

}  // namespace bex::repo
