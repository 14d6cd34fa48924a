#include "repo/publish/Publication.hpp"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "repo/base/Failure.hpp"
#include "repo/base/Hasher.hpp"
#include "repo/base/Parallel.hpp"
#include "repo/files/Compressed.hpp"
#include "repo/files/Directory.hpp"
#include "repo/index/IndexText.hpp"
#include "repo/publish/Contents.hpp"
#include "repo/publish/PackedIndex.hpp"
#include "repo/suite/NextSuite.hpp"
#include "repo/suite/Settings.hpp"
#include "stream/base/Text.hpp"
#include "stream/base/WorkPool.hpp"
#include "stream/system/AtomicFile.hpp"

namespace bex::repo {

namespace {

using stream::Compression;

/// The moment that Release names: the option, SOURCE_DATE_EPOCH for a result that can be repeated, or the clock.
std::int64_t dateOf(const PublishOptions& options) {
    if (options.date) {
        return *options.date;
    }
    const char* variable = std::getenv("SOURCE_DATE_EPOCH");
    if (variable == nullptr) {
        return std::time(nullptr);
    }
    const auto date = stream::parseWhole<std::int64_t>(variable);
    if (!date) {
        throw failure(ErrorKind::invalidInput, "invalid-input", "",
                      "SOURCE_DATE_EPOCH is not a number of seconds: " + quoted(variable));
    }
    return *date;
}

/// The fields without those that only say when.
std::vector<std::pair<std::string, std::string>> lastingFields(const Release& release) {
    std::vector<std::pair<std::string, std::string>> fields;
    for (const auto& field : release.fields) {
        if (field.first != "Date" && field.first != "Valid-Until") {
            fields.push_back(field);
        }
    }
    return fields;
}

/// The Release file before its list of indexes. A field without a value is left out.
Release emptyRelease(const SuiteSettings& suite, const PublishOptions& options, std::int64_t date) {
    Release release;
    const auto put = [&](const char* name, const std::string& value) {
        if (!value.empty()) {
            release.fields.emplace_back(name, value);
        }
    };
    put("Origin", suite.origin);
    put("Label", suite.label);
    put("Suite", suite.suite);
    put("Codename", suite.codename);
    put("Date", formatDate(date));
    if (options.validFor.count() > 0) {
        put("Valid-Until", formatDate(date + options.validFor.count()));
    }
    // Clients then ask for indexes under the names of their digests. Without this field they would use the usual
    // names, which change while a client is between InRelease and the index.
    put("Acquire-By-Hash", "yes");
    put("Architectures", joined(suite.architectures));
    put("Components", joined(suite.components));
    put("Description", suite.description);
    return release;
}

}  // namespace

Publication::Publication(const Layout& layout, const SuiteSettings& settings, const PublishOptions& options,
                         System& system)
    // The order of the members counts: next_ is made from date_, and writer_ from directory_.
    : layout_(layout),
      settings_(settings),
      options_(options),
      system_(system),
      directory_(layout.suite(settings.suite)),
      threads_(stream::threadCount(options.threads)),
      date_(dateOf(options)),
      published_(layout, settings.suite),
      changes_(layout, settings.suite),
      files_(system, threads_),
      writer_(directory_, options.planOnly, files_, system),
      generations_(layout, settings.suite),
      next_(emptyRelease(settings, options, date_)) {}

void Publication::run(PublishResult& result) {
    // apt refuses a repository that was signed and no longer is, so a forgotten option must not remove the
    // signatures.
    if (published_.isSigned() && options_.key.empty() && !options_.unsignedAgain) {
        throw failure(ErrorKind::invalidInput, "invalid-input", shown("InRelease"),
                      "the suite is signed: give the key, or ask for it to be unsigned");
    }
    // The usual case of a publication by a timer: no index is read, and nothing is written.
    if (changes_.empty() && isCurrent()) {
        return;
    }
    makeIndexes();
    const bool isSame = next_.files == published_.release().files;
    if (isSame && isCurrent()) {  // what was added was removed, or a publication was killed after clients saw it
        if (!options_.planOnly) {
            finish(result);
        }
        return;
    }
    // Checked only where something is written: a repeated publication with an old date is no error.
    requireLaterDate();
    // A signature may fail or come too late. Until here no file has got a name.
    describe();
    if (!options_.planOnly) {
        noteGeneration();
        files_.place();
        writer_.keep();  // From here on a failure may come after the step that clients see.
    }
    placeIndexes(result);
    placeRelease(result);
    if (!options_.planOnly) {
        finish(result);
    }
}

// What is there already

bool Publication::isCurrent() const {
    const Release& release = published_.release();
    if (!published_.exists() || lastingFields(release) != lastingFields(next_) || isDue() ||
        !isSignatureCurrent()) {
        return false;
    }
    // Release lists other indexes than wanted where a component, an architecture or a compression came or went.
    const std::set<std::string> wanted = wantedIndexes();
    const auto isWanted = [&](const auto& file) { return wanted.count(file.first) != 0; };
    return release.files.size() == wanted.size() &&
           std::all_of(release.files.begin(), release.files.end(), isWanted) &&
           std::all_of(release.files.begin(), release.files.end(), [&](const auto& file) {
               return !isStored(file.first) || isInPlace(file.first, file.second);
           });
}

/// Whether Valid-Until is wanted and half of its time is over, or is there and not wanted.
bool Publication::isDue() const {
    const std::string until = published_.release().field("Valid-Until");
    if (until.empty() || options_.validFor.count() == 0) {
        return until.empty() != (options_.validFor.count() == 0);
    }
    const std::int64_t published = parseDate(published_.release().field("Date"), shown("Release"));
    // A regular publication thus renews the date well before clients refuse the old one.
    return date_ >= published + options_.validFor.count() / 2;
}

bool Publication::isSignatureCurrent() const {
    if (published_.isSigned() != !options_.key.empty()) {
        return false;
    }
    // They differ where a publication was killed between the two.
    return !published_.isSigned() ||
           (readFile(below("Release")) == published_.releaseText() && sizeOfFile(below("Release.gpg")));
}

/// Whether there is a file for what Release lists: the uncompressed index is listed, but written on request.
bool Publication::isStored(const std::string& index) const {
    const auto& compressions = options_.compressions;
    const std::string_view name = std::string_view(index).substr(index.rfind('/') + 1);
    return name != "Packages" ||
           std::find(compressions.begin(), compressions.end(), Compression::none) != compressions.end();
}

/// Whether the index is there with these contents, under the name of its digest and under its usual name.
bool Publication::isInPlace(const std::string& index, const IndexedFile& file) const {
    const std::string byHash = below(Layout::byHash(index, file.sha256));
    if (sizeOfFile(byHash) != file.size || sizeOfFile(below(index)) != file.size) {
        return false;
    }
    // Two files where the repository was copied without its hard links.
    return isSameFile(byHash, below(index)) || readFile(byHash) == readFile(below(index));
}

/// Whether a change since the last publication is about this index. A package for "all" is in each
/// architecture's.
bool Publication::isTouched(const std::string& component, const std::string& architecture) const {
    const auto& all = changes_.all();
    return std::any_of(all.begin(), all.end(), [&](const Changes::Change& change) {
        return change.component == component &&
               (change.package.architecture == architecture || change.package.architecture == "all");
    });
}

/// The names of one Packages index in Release. The uncompressed one is always listed, since clients check what
/// they unpacked against that line.
std::vector<std::string> Publication::packagesIndexes(const std::string& index) const {
    std::vector<std::string> indexes = {index};
    for (const Compression compression : options_.compressions) {
        if (compression != Compression::none) {
            indexes.push_back(index + std::string(stream::suffixOf(compression)));
        }
    }
    return indexes;
}

/// What Release has to list for the settings and options, whatever it lists now.
std::set<std::string> Publication::wantedIndexes() const {
    std::set<std::string> wanted;
    for (const std::string& component : settings_.components) {
        for (const std::string& architecture : settings_.architectures) {
            const auto packages = packagesIndexes(Layout::packagesIndex(component, architecture));
            wanted.insert(packages.begin(), packages.end());
            if (options_.contents) {
                wanted.insert(Layout::contentsIndex(component, architecture));
            }
        }
    }
    return wanted;
}

// The new indexes

void Publication::makeIndexes() {
    for (const std::string& component : settings_.components) {
        for (const std::string& architecture : settings_.architectures) {
            makePackages(component, architecture);
            if (options_.contents) {
                makeContents(component, architecture);
            }
        }
    }
}

StanzaList Publication::nextPackages(const std::string& component, const std::string& architecture) const {
    StanzaList packages = published_.packages(component, architecture);
    apply(changes_, component, architecture, packages);
    return packages;
}

/// Whether the index is listed and, where it has a file, that is there, too: an index that was lost is written
/// again although its contents did not change.
bool Publication::isStoredAs(const std::string& index) const {
    const auto& before = published_.release().files;
    const auto found = before.find(index);
    return found != before.end() &&
           (!isStored(index) || sizeOfFile(below(Layout::byHash(index, found->second.sha256))));
}

void Publication::makePackages(const std::string& component, const std::string& architecture) {
    const std::string index = Layout::packagesIndex(component, architecture);
    const auto indexes = packagesIndexes(index);
    const bool areThere =
        std::all_of(indexes.begin(), indexes.end(), [this](const std::string& path) { return isStoredAs(path); });
    // An index that no change touches is neither read nor compressed: a publication costs as much as its changes,
    // not as much as the suite.
    if (areThere && !isTouched(component, architecture)) {
        for (const std::string& path : indexes) {
            next_.files[path] = published_.release().files.at(path);
        }
        return;
    }
    pack(nextPackages(component, architecture), index, areThere);
}

/// Compresses an index in all its forms and hashes it, side by side.
void Publication::pack(const StanzaList& packages, const std::string& index, bool areThere) {
    struct Form {
        std::string path;
        IndexedFile file;
        std::string bytes;
    };
    const auto& before = published_.release().files;
    const IndexText text(packages.stanzas);
    IndexedFile plain;
    std::vector<Form> forms(options_.compressions.size());  // Of its final size: each task writes its own.
    std::vector<Task> tasks = {[&] { plain = text.describe(); }};
    for (std::size_t i = 0; i < forms.size(); ++i) {
        tasks.emplace_back([&, i] {
            const Compression compression = options_.compressions[i];
            Form& form = forms[i];
            form.path = index + std::string(stream::suffixOf(compression));
            IndexBefore old;
            const auto found = before.find(form.path);
            if (compression == Compression::gzip && found != before.end() && !packages.texts.empty()) {
                old.text = *packages.texts.front();
                old.gzip = published_.find(form.path, found->second).value_or("");
            }
            form.bytes = packed(text, compression, old, threads_);
            form.file = {sha256Of(form.bytes), form.bytes.size()};
        });
    }
    runAll(tasks, threads_);
    next_.files[index] = plain;
    // The changes cancelled out. Other bytes, of another version of the compressor, would make clients fetch an
    // index that says the same.
    const bool isSame = areThere && plain == before.at(index);
    for (const Form& form : forms) {
        if (isSame) {
            next_.files[form.path] = before.at(form.path);
        } else {
            writer_.store(form.path, form.file, form.bytes);
            next_.files[form.path] = form.file;
        }
    }
}

void Publication::makeContents(const std::string& component, const std::string& architecture) {
    const std::string packages = Layout::packagesIndex(component, architecture);
    const std::string index = Layout::contentsIndex(component, architecture);
    const auto& before = published_.release().files;
    const auto found = before.find(index);
    const auto foundPackages = before.find(packages);
    // Packages names each file of the pool with its SHA-256, so that equal Packages indexes have equal Contents.
    if (found != before.end() && foundPackages != before.end() && foundPackages->second == next_.files[packages] &&
        sizeOfFile(below(Layout::byHash(index, found->second.sha256)))) {
        next_.files[index] = found->second;
        return;
    }
    const std::string bytes = compressed(
        [&](stream::Sink& out) {
            writeContents(layout_, nextPackages(component, architecture).stanzas,
                          contentsBefore(index, packages, component), threads_, out);
        },
        Compression::gzip, threads_);
    next_.files[index] = {sha256Of(bytes), bytes.size()};
    writer_.store(index, next_.files[index], bytes);
}

/// The published index, and the packages that it may be wrong about. Nothing where it does not belong to the
/// published Packages: then each package is read.
std::optional<ContentsBefore> Publication::contentsBefore(const std::string& index, const std::string& packages,
                                                          const std::string& component) const {
    const auto& before = published_.release().files;
    const auto found = before.find(index);
    if (found == before.end() || before.count(packages) == 0) {
        return std::nullopt;
    }
    const auto bytes = published_.find(index, found->second);
    if (!bytes) {
        return std::nullopt;
    }
    ContentsBefore contents{decompressed(*bytes, Compression::gzip, below(index)), {}};
    for (const Changes::Change& change : changes_.all()) {
        if (change.component == component) {
            contents.changed.emplace(change.package.package);
        }
    }
    return contents;
}

// The new Release

/// apt ignores a Release file whose Date is earlier than that of the one it has.
void Publication::requireLaterDate() const {
    if (published_.exists()) {
        const std::string before = published_.release().field("Date");
        if (date_ < parseDate(before, shown("Release"))) {
            throw failure(ErrorKind::invalidInput, "invalid-input", shown("Release"),
                          "the date " + formatDate(date_) + " is before that of what is published, " + before +
                              ": clients would ignore it");
        }
    }
}

void Publication::describe() {
    nextText_ = next_.format();
    if (!options_.key.empty() && !options_.planOnly) {
        signatures_ = sign(nextText_, options_);
    }
}

void Publication::noteGeneration() {
    const std::int64_t now = std::time(nullptr);
    // Only what has a file: the uncompressed index may be listed without being written.
    const auto filesOf = [&](const Release& release) {
        std::set<std::string> files;
        for (const auto& [index, file] : release.files) {
            if (isStored(index)) {
                files.insert(Layout::byHash(index, file.sha256));
            }
        }
        return files;
    };
    // Clients may still have the current InRelease; without an entry its by-hash files would be removed as
    // leftovers.
    if (published_.exists() && generations_.empty()) {
        generations_.append(now, filesOf(published_.release()), {});  // the list was lost
    }
    // The new generation is the first one without these packages. Their files stay until the last generation that
    // lists them expires.
    std::set<std::string> drops;
    for (const Changes::Change& change : changes_.all()) {
        if (!change.isAddition && !change.package.filename.empty()) {
            drops.emplace(change.package.filename);
        }
    }
    generations_.append(now, filesOf(next_), drops);
    files_.write(generations_.path(), generations_.format());
}

// The step that clients see

void Publication::placeIndexes(PublishResult& result) {
    for (const auto& [index, file] : next_.files) {
        if (!isStored(index) || isInPlace(index, file)) {
            continue;
        }
        // A plan names the same files as the publication would, so that it comes before the test of planOnly.
        result.written.push_back(shown(index));
        if (!options_.planOnly) {
            // Until Release is replaced, its digests fit only the by-hash files. Clients that use the usual name
            // may see a mismatch for that moment and fetch again.
            linkOver(below(Layout::byHash(index, file.sha256)), below(index), system_);
            files_.noteDirectory(stream::directoryOf(below(index)));
        }
    }
}

void Publication::stage(const std::string& name, const std::string& bytes, PublishResult& result) {
    result.written.push_back(shown(name));
    if (!options_.planOnly) {
        files_.write(below(name), bytes);
    }
}

/// The last file in each case is the one that clients read: InRelease of a signed suite, else Release.
void Publication::placeRelease(PublishResult& result) {
    const bool isSigned = !options_.key.empty();
    if (isSigned) {
        stage("Release", nextText_, result);
        stage("Release.gpg", signatures_.releaseGpg, result);
    }
    // After a crash the last file must not name an index whose directory entry was lost.
    files_.place();
    if (isSigned) {
        stage("InRelease", signatures_.inRelease, result);
    } else {
        stage("Release", nextText_, result);
    }
    files_.place();
    if (!isSigned && published_.isSigned()) {
        removeSignatures(result);
    }
}

void Publication::removeSignatures(PublishResult& result) {
    for (const char* name : {"InRelease", "Release.gpg"}) {  // in this order: clients read InRelease first
        result.removed.push_back(shown(name));
        if (!options_.planOnly) {
            removeFile(below(name), system_);
            syncDirectory(directory_, system_);
        }
    }
}

// What nobody needs any more

/// The changes go last: as long as they are there, the next publication comes here, too.
void Publication::finish(PublishResult& result) {
    removeLeftovers(result);
    changes_.discard(system_);
}

void Publication::removeLeftovers(PublishResult& result) {
    // Directories of all generations: a component that left the settings some publications ago has one only there.
    std::set<std::string> directories;
    for (const std::string& file : generations_.files()) {
        directories.insert(stream::directoryOf(file));
    }
    // The newest generation is what clients read now, so at least one stays.
    generations_.expire(std::time(nullptr), std::max(options_.keepGenerations, 1U));
    for (const auto& [index, file] : published_.release().files) {
        const bool isGone = next_.files.count(index) == 0 || !isStored(index);
        if (isGone && removeFile(below(index), system_)) {
            result.removed.push_back(shown(index));
        }
    }
    // By-hash files of all generations share the directories; a file goes when the last generation with it has
    // gone.
    const std::set<std::string> kept = generations_.files();
    std::set<std::string> used = {directory_, layout_.below(".bex"), layout_.below(".bex/changes"),
                                  layout_.below(".bex/generations")};
    for (const Release* release : {&published_.release(), static_cast<const Release*>(&next_)}) {
        for (const auto& [index, file] : release->files) {
            directories.insert(stream::directoryOf(Layout::byHash(index, file.sha256)));
            used.insert(stream::directoryOf(below(index)));
        }
    }
    for (const std::string& directory : directories) {
        removeByHash(directory, kept, result);
    }
    // Nobody else writes here: this process holds the lock.
    for (const std::string& directory : used) {
        removeTemporaries(directory, system_);
    }
    // After the files: whoever is killed before leaves the list, and with it the directories to search.
    generations_.write(system_);
}

void Publication::forgetUnlisted() {
    if (!unlisted().empty()) {
        generations_.forgetUnlisted();
        generations_.write(system_);
    }
}

void Publication::removeByHash(const std::string& directory, const std::set<std::string>& kept,
                               PublishResult& result) {
    for (const std::string& name : namesIn(below(directory), system_)) {
        const std::string path = directory + name;
        if (kept.count(path) == 0 && removeFile(below(path), system_)) {
            result.removed.push_back(shown(path));
        }
    }
}

}  // namespace bex::repo
