#include "verbs/repo/ScanOutput.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "bex/stream/ControlParagraph.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/repo/RepoVerbs.hpp"

namespace bex::tool {

void addScanOutput(CLI::App& verb, ScanOutput& output) {
    verb.add_flag("--records", output.asShard, "Print a shard, for bex repo merge");
    verb.add_flag("-m,--multiversion", output.allVersions, "Keep all versions of a package, not only the newest");
    verb.add_option("-a,--arch", output.architecture, "Keep packages for this architecture and for all")
        ->option_text("NAME");
}

namespace {

Json jsonOf(const repo::PackageRecord& record) {
    Json object = {{"schema", 1}};
    putText(object, "filename", record.filename);
    object["size"] = record.size;
    Json& digests = object["digests"] = Json::object();
    // A digest that was not asked for is "" and left out.
    const std::pair<const char*, const std::string&> all[] = {{"md5", record.digests.md5},
                                                              {"sha1", record.digests.sha1},
                                                              {"sha256", record.digests.sha256},
                                                              {"sha512", record.digests.sha512}};
    for (const auto& digest : all) {
        if (!digest.second.empty()) {
            digests[digest.first] = digest.second;
        }
    }
    Json& fields = object["fields"] = Json::object();
    const auto control = stream::ControlParagraph::parse(record.before + record.after, record.filename);
    for (const auto& field : control.fields()) {
        putText(fields, field.name, field.value);
    }
    return object;
}

void writeRecords(const repo::ScanReport& report, const ScanOutput& output, repo::DigestChoice digests,
                  Context& context) {
    if (context.json && !output.asShard) {
        for (const repo::PackageRecord& record : report.records) {
            context.console.out(jsonLine(jsonOf(record)));
        }
        return;
    }
    const repo::TextSink out = [&context](std::string_view text) { context.console.out(text); };
    if (output.asShard) {
        functionOf<decltype(bexWriteShard)>(kRepoLibrary, "bexWriteShard")(report.records, digests, out);
    } else {
        functionOf<decltype(bexWriteIndex)>(kRepoLibrary, "bexWriteIndex")(report.records, out);
    }
}

}  // namespace

ExitStatus printRecords(repo::ScanReport& report, const ScanOutput& output, repo::DigestChoice digests,
                        bool keepGoing, Context& context) {
    ExitStatus status = ExitStatus::done;
    // Every error is printed; the highest of their exit statuses is that of the command.
    for (const stream::ErrorRecord& error : report.errors) {
        status = std::max(status, reportFailure(std::make_exception_ptr(stream::StreamError(error)), context));
    }
    // Before the newest are chosen, which is done for each architecture by itself.
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
    // An index without some of its packages must be asked for: clients would take them for removed.
    if (status == ExitStatus::done || keepGoing) {
        writeRecords(report, output, digests, context);
    }
    return status;
}

}  // namespace bex::tool
