#pragma once

#include <CLI/App.hpp>
#include <string>

#include "bex/repo/Scan.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// How the records of a scan or merge are printed.
struct ScanOutput {
    bool asShard = false;
    bool allVersions = false;
    std::string architecture;  ///< only this one and "all"; "" for every one
};

void addScanOutput(CLI::App& verb, ScanOutput& output);

/// Prints errors and notes, and the records as stanzas or as a shard; no record where there is an error, unless
/// `keepGoing`. Returns the highest status.
ExitStatus printRecords(repo::ScanReport& report, const ScanOutput& output, repo::DigestChoice digests,
                        bool keepGoing, Context& context);

}  // namespace bex::tool
