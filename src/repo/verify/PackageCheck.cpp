#include "repo/verify/PackageCheck.hpp"

#include <memory>
#include <string_view>

#include "bex/stream/PackageReader.hpp"
#include "bex/stream/Verify.hpp"
#include "repo/base/Failure.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

stream::ReadOptions readingOf(const RepositoryCheck& check) {
    stream::ReadOptions reading;
    reading.limits = check.limits;
    reading.threads = 1;  // packages side by side
    return reading;
}

/// Whether an index may say this where the package says that: descriptions may be shortened to their first line.
bool agrees(std::string_view field, const std::string& package, const std::string& index) {
    if (package == index) {
        return true;
    }
    return stream::equalIgnoringCase(field, "Description") && index == stream::firstLine(package);
}

void compareFields(const stream::ControlParagraph& control, const PackageRecord& record, FindingList& findings) {
    const stream::ControlParagraph stanza = record.control();
    // Through a record and back, so that both sides are folded alike and have no fields of the index.
    const stream::ControlParagraph expected = recordOf(control, record.filename).control();
    for (const auto& field : expected.fields()) {
        const std::string* said = stanza.find(field.name);
        if (said != nullptr && agrees(field.name, field.value, *said)) {
            continue;
        }
        // An archive may file a package elsewhere than its maintainer did.
        const bool isOverride =
            stream::equalIgnoringCase(field.name, "Section") || stream::equalIgnoringCase(field.name, "Priority");
        findings.note(isOverride ? stream::Severity::warning : stream::Severity::error, "stanza-field",
                      record.filename,
                      field.name + " is " + quoted(field.value) + " in the package, but " +
                          (said != nullptr ? quoted(*said) : std::string("not")) + " in the index");
    }
}

}  // namespace

void checkPackage(const RepositoryFiles& files, const PackageRecord& record, const RepositoryCheck& check,
                  FindingList& findings) {
    std::string reason;
    // The sum outlives the reader, which ends before the last byte or fails in the middle: the rest is hashed
    // after it.
    const auto sum = SummedSource::open(files, record.filename, &reason);
    if (sum == nullptr) {
        findings.error("package-missing", record.filename, reason);
        return;
    }
    try {
        const stream::PackageReader reader(std::make_unique<SummedSource>(sum), record.filename, readingOf(check));
        compareFields(reader.control(), record, findings);
    } catch (const StreamError& error) {
        // A connection or a disk that fails says nothing about the repository: the check ends.
        if (error.kind() == ErrorKind::inputOutput) {
            throw;
        }
        findings.append(record.filename, {stream::Finding(stream::Severity::error, error.record())});
    }
    // Also for a damaged package: whether it is the one that the index means is another question.
    const IndexedFile found = SummedSource::finish(*sum);
    if (found.size != record.size) {
        findings.error(
            "package-size", record.filename,
            "has " + std::to_string(found.size) + " bytes, but " + std::to_string(record.size) + " in the index");
    } else if (found.sha256 != record.digests.sha256) {
        findings.error("package-digest", record.filename,
                       "has the SHA-256 " + found.sha256 + ", but " + record.digests.sha256 + " in the index");
    }
    // A second pass: a forward source cannot go back, and the first pass left the payload packed.
    if (check.deep) {
        findings.append(record.filename,
                        stream::verify(files.open(record.filename), record.filename, readingOf(check)));
    }
}

}  // namespace bex::repo
