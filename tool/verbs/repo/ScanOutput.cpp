#include "verbs/repo/ScanOutput.hpp"

#include <algorithm>

#include "output/Failure.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/repo/RepoVerbs.hpp"

namespace bex::tool {

void addScanOutput(CLI::App& verb, ScanOutput& output) {
    verb.add_flag("--records", output.asShard, "Print a shard, for bex repo merge");
    verb.add_flag("-m,--multiversion", output.allVersions, "Keep all versions of a package, not only the newest");
    verb.add_option("-a,--arch", output.architecture, "Keep packages for this architecture and for all")
        ->option_text("NAME");
}

ExitStatus printRecords(repo::ScanReport& report, const ScanOutput& output, repo::DigestChoice digests,
                        bool keepGoing, Context& context) {
    ExitStatus status = ExitStatus::done;
    for (const stream::ErrorRecord& error : report.errors) {
        status = std::max(status, reportFailure(std::make_exception_ptr(stream::StreamError(error)), context));
    }
    if (!output.architecture.empty()) {
        const auto isOther = [&output](const repo::PackageRecord& record) {
            return record.architecture != output.architecture && record.architecture != "all";
        };
        report.records.erase(std::remove_if(report.records.begin(), report.records.end(), isOther),
                             report.records.end());
    }
    // A shard keeps them all: a newer version may be in another one.
    if (!output.allVersions && !output.asShard) {
        functionOf<decltype(bexKeepNewest)>(kRepoLibrary, "bexKeepNewest")(report);
    }
    for (const std::string& note : report.notes) {
        context.console.note(note);
    }
    if (status == ExitStatus::done || keepGoing) {
        std::string text;
        functionOf<decltype(bexWriteRecords)>(kRepoLibrary, "bexWriteRecords")(report.records, output.asShard,
                                                                               digests, text);
        context.console.out(text);
    }
    return status;
}

}  // namespace bex::tool
