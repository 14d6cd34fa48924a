#include "FileInMemory.hpp"
#include "Target.hpp"
#include "bex/stream/Verify.hpp"
#include "stream/reader/HandMade.hpp"

namespace bex::fuzz {
namespace {

using test::Route;

/// The paths alone, no contents read; or the message of the failure.
std::string pathsOf(const std::string& bytes, Route route) {
    std::string paths;
    const std::string failure = test::reading(
        bytes, route,
        [&](stream::PackageReader& reader) {
            stream::Entry entry;
            while (reader.next(entry)) {
                paths += entry.path + '\n';
            }
        },
        tightOptions(1));
    return failure.empty() ? paths : failure;
}

bool failed(const std::string& outcome) {
    return outcome.rfind("p.bex: ", 0) == 0;
}

}  // namespace

/// A file and a pipe, one thread and several, listing and verifying agree on whether the package is sound and on
/// what is in it.
void runReader(std::string_view input) {
    const std::string bytes(input);
    const std::string file = test::listingOf(bytes, Route::file, tightOptions(1));
    requireEqual(file, test::listingOf(bytes, Route::file, tightOptions(2)), "threads change nothing");
    const std::string pipe = test::listingOf(bytes, Route::pipe, tightOptions(1));
    require(failed(file) == failed(pipe) && (failed(file) || file == pipe), "file and pipe agree",
            file + "\n--\n" + pipe);
    require(!failed(file) || !actsOnTerminals(file), "an error is one safe line", file);
    require(!failed(pipe) || !actsOnTerminals(pipe), "an error is one safe line", pipe);

    const std::string paths = pathsOf(bytes, Route::file);
    require(failed(file) || !failed(paths), "contents that are passed over hide no package", paths);
    require(failed(pipe) || !failed(pathsOf(bytes, Route::pipe)), "nor in a pipe", pipe);

    const FileInMemory package(input);
    const std::vector<stream::Finding> findings = stream::verify(package.path(), tightOptions(1));
    require(!failed(file) || !findings.empty(), "what cannot be read is found by verify", file);
    for (const stream::Finding& finding : findings) {
        require(!actsOnTerminals(finding.code + finding.reason), "a finding is one safe line", finding.reason);
    }
}

}  // namespace bex::fuzz
