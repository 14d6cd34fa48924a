#include "bex/shlibs/Dependencies.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "shlibs/Inputs.hpp"
#include "shlibs/Needs.hpp"
#include "shlibs/Resolver.hpp"
#include "shlibs/base/Failure.hpp"
#include "shlibs/base/TextFile.hpp"
#include "shlibs/info/Soname.hpp"
#include "stream/base/Owners.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

using stream::escapeForDisplay;

/// One line without a newline. A library with a path was found, but no package describes it; without a path it was
/// found nowhere, and the message lists the directories. Names come from files, so each is escaped.
std::string messageOf(const Missing& missing, const std::string& architecture) {
    const std::string head = escapeForDisplay(missing.file) + ": needs " + escapeForDisplay(missing.library) +
                             " (" + architecture + "), ";
    if (!missing.path.empty()) {
        return head + "for which no package gives a dependency; it is " + escapeForDisplay(missing.path);
    }
    std::string places;
    for (const std::string& place : missing.searched) {
        stream::appendPart(places, ", ", escapeForDisplay(place));
    }
    return head + "which is in none of " + places;
}

/// One search for the dependencies of a request.
class Search {
public:
    Search(const Request& request, Report& report)
        : request_(request), report_(report), resolver_(request, report.notes) {}

    void run() {
        // The order matters: the files' machines decide the architecture, and the resolver reads symbols files for
        // that architecture from its first library on.
        Subjects subjects = findSubjects(request_);
        report_.architecture = chooseArchitecture(subjects);
        resolver_.begin(report_.architecture, subjects.files);
        for (Subject& subject : subjects.files) {
            const std::string architecture = architectureOf(subject.machine);
            if (architecture != report_.architecture) {
                report_.notes.push_back(escapeForDisplay(subject.name) + ": skipped: is for " + architecture +
                                        ", not for " + report_.architecture);
                continue;
            }
            // Dropped once it is examined: the symbols of one file at a time are in memory.
            if (!subject.contents) {
                subject.contents = readFile(subject);
            }
            examine(subject, *subject.contents);
            subject.contents.reset();
        }
        // After the last file: raising only changes templates that some file already needs, and used_ is complete
        // now.
        raiseByBuildDependencies();
        needs_.report(report_);
    }

private:
    /// For files on disk. Without O_NONBLOCK: findSubjects() has read ELF bytes there with pread(), which a FIFO
    /// refuses.
    static ElfFile readFile(const Subject& subject) {
        const stream::PlainDescriptor file(::open(subject.diskPath.c_str(), O_RDONLY | O_CLOEXEC));
        if (!file) {
            throw systemFailure(subject.diskPath, errno);
        }
        return readElf(file.get(), subject.diskPath);
    }

    /// What was asked for; else what all files agree on; else what the packages or the database are for.
    std::string chooseArchitecture(const Subjects& subjects) const {
        if (!request_.architecture.empty() && !isArchitecture(request_.architecture)) {
            throw failure(ErrorKind::invalidInput, request_.architecture,
                          "is not an architecture that is known here");
        }
        std::map<std::string, std::string> examples;
        for (const Subject& subject : subjects.files) {
            examples.emplace(architectureOf(subject.machine), subject.name);
        }
        std::string chosen(stream::orIfEmpty(request_.architecture, subjects.architecture));
        if (chosen.empty() && examples.size() == 1) {
            chosen = examples.begin()->first;
        }
        // Files for several architectures, or none: the packages or the database decide, and mixed files of other
        // architectures are skipped with a note.
        if (chosen.empty()) {
            chosen = resolver_.architecture();
        }
        // Examining nothing would report that nothing is needed, which reads like a success.
        if (!examples.empty() && examples.count(chosen) == 0) {
            throw StreamError(ErrorKind::invalidInput, noneFor(chosen, examples));
        }
        return chosen;
    }

    /// The message of an architecture that none of the files has; `examples` gives one file for each one they
    /// have.
    static std::string noneFor(const std::string& architecture,
                               const std::map<std::string, std::string>& examples) {
        std::string list;
        for (const auto& [other, name] : examples) {
            stream::appendPart(list, ", ", escapeForDisplay(name) + " is for " + other);
        }
        if (architecture.empty()) {
            return "the files are for several architectures: " + list;
        }
        return "no file is for " + escapeForDisplay(architecture) + ": " + list;
    }

    /// Adds the dependencies of one file: those of its libraries first, then those that its symbols raise. The
    /// pointers in withSymbols stay valid because the resolver keeps every resolution that it has given.
    void examine(const Subject& subject, const ElfFile& file) {
        std::vector<std::pair<const Resolution::Source*, Reason>> withSymbols;
        for (const std::string& library : file.needed) {
            const Resolution& resolution = resolver_.resolve(library, subject, file);
            if (resolution.sources.empty() && !resolution.needsNothing) {
                tellMissing(library, resolution, subject, file);
            }
            for (const Resolution::Source& source : resolution.sources) {
                Reason reason{"", subject.name, library, resolution.path, source.package, "", ""};
                if (source.symbols == nullptr) {
                    needs_.add(source.dependency, reason);
                    continue;
                }
                // Every library gives a dependency, even when no symbol of it is used: the loader wants it all the
                // same.
                reason.version = source.symbols->smallest;
                needs_.add(source.symbols->templates.front(), reason);
                used_.insert(source.symbols);
                withSymbols.emplace_back(&source, std::move(reason));
            }
        }
        // A symbol that no library lists adds nothing: its library's smallest version is a need already. Takes
        // time in proportion to symbols times libraries, each a look-up in a hash table.
        file.undefined.forEach([&](std::string_view symbol) {
            // The first library that has the symbol provides it, in the order of DT_NEEDED, as for the loader.
            for (const auto& [source, reason] : withSymbols) {
                if (const auto since = source->symbols->find(symbol)) {
                    Reason full = reason;
                    full.symbol = symbol;
                    full.version = since->version;
                    needs_.add(*since->dependencyTemplate, full);
                    return;
                }
            }
        });
    }

    /// The places for the message: the given packages, or directories as they are named on this machine.
    std::vector<std::string> searchedFor(const Subject& subject, const ElfFile& file) const {
        if (!request_.from.empty()) {
            return request_.from;
        }
        std::vector<std::string> directories = resolver_.directoriesFor(subject, file);
        for (std::string& directory : directories) {
            directory.insert(0, request_.sysroot);
        }
        return directories;
    }

    /// A public library without a provider is missing; a plugin may well come from nowhere.
    void tellMissing(const std::string& library, const Resolution& resolution, const Subject& subject,
                     const ElfFile& file) {
        Missing missing{subject.name, library, resolution.path, {}, {}, {}};
        if (!resolution.found) {
            missing.searched = searchedFor(subject, file);
            missing.hint = resolver_.hintFor(library, subject);
        }
        missing.message = messageOf(missing, report_.architecture);
        if (request_.ignoreMissing || !splitSoname(library)) {
            report_.notes.push_back(missing.message);
        } else {
            report_.missing.push_back(std::move(missing));
        }
    }

    /// A package that was built with a newer version of a -dev package may use what only that version promises.
    void raiseByBuildDependencies() {
        for (const LibrarySymbols* symbols : used_) {
            // dpkg-shlibdeps(1) reads the plural field first and the older singular one only without it.
            auto field = symbols->fields.find("Build-Depends-Packages");
            if (field == symbols->fields.end()) {
                field = symbols->fields.find("Build-Depends-Package");
            }
            if (field == symbols->fields.end()) {
                continue;
            }
            std::string names = field->second;
            // Both fields are read as names between commas or blanks; the singular one has just one.
            std::replace(names.begin(), names.end(), ',', ' ');
            std::string_view rest = names;
            for (std::string_view name = nextWord(rest); !name.empty(); name = nextWord(rest)) {
                const std::string version = resolver_.builtWith(std::string(name));
                for (const std::string& dependencyTemplate : symbols->templates) {
                    needs_.raise(dependencyTemplate, version, "build dependency on " + std::string(name));
                }
            }
        }
    }

    // The caller's; findDependencies() keeps both alive for as long as this runs.
    const Request& request_;
    Report& report_;
    Resolver resolver_;
    Needs needs_;
    // Parts of symbols files that some file needs. They belong to the resolver, which outlives the set's use.
    std::set<const LibrarySymbols*> used_;
};

}  // namespace

Report findDependencies(const Request& request) {
    Report report;
    Search(request, report).run();
    return report;
}

}  // namespace bex::shlibs

void bexFindDependencies(const bex::shlibs::Request& request, bex::shlibs::Report& report) {
    report = bex::shlibs::findDependencies(request);
}
