#include "shlibs/Needs.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "shlibs/base/Failure.hpp"
#include "shlibs/base/Relation.hpp"
#include "shlibs/base/TextFile.hpp"
#include "shlibs/base/Version.hpp"
#include "stream/base/Text.hpp"

namespace bex::shlibs {

namespace {

constexpr std::string_view kPlaceholder = "#MINVER#";

/// Calls `visit` with each relation of the template, without blanks around it. Alternatives ("a | b") are one
/// relation: their versions rise together.
template <typename Visit>
void forEachPart(std::string_view dependencyTemplate, Visit&& visit) {
    while (!dependencyTemplate.empty()) {
        const std::string_view part = dependencyTemplate.substr(0, dependencyTemplate.find(','));
        dependencyTemplate.remove_prefix(std::min(part.size() + 1, dependencyTemplate.size()));
        if (!trimmed(part).empty()) {
            visit(trimmed(part));
        }
    }
}

/// Every package has a version 0 or a newer one.
bool asksForNothing(const std::string& version) {
    return version.empty() || version == "0";
}

/// An empty version is older than every other one. Throws as compareVersions() for texts that are not versions.
bool isNewer(const std::string& version, const std::string& than) {
    return !version.empty() && (than.empty() || compareVersions(version, than) > 0);
}

/// deb-symbols(5): #MINVER# stands for "(>= version)", and for nothing where any version will do. The search goes
/// on after the inserted text, so that it ends whatever the version holds.
std::string filledIn(std::string text, const std::string& version) {
    std::string value;
    if (!asksForNothing(version)) {
        value = "(>= " + version + ")";
    }
    for (std::size_t at = text.find(kPlaceholder); at != std::string::npos;
         at = text.find(kPlaceholder, at + value.size())) {
        text.replace(at, kPlaceholder.size(), value);
    }
    return text;
}

/// A template may have a version of its own.
void requireVersions(const Alternatives& alternatives, const std::string& where) {
    for (const Relation& relation : alternatives) {
        if (!relation.sign.empty() && !isVersion(relation.version)) {
            throw damaged(where, stream::escapeForDisplay(relation.package) + " (" + relation.sign + " " +
                                     stream::escapeForDisplay(relation.version) + ") has no version");
        }
    }
}

}  // namespace

void Needs::add(std::string_view dependencyTemplate, const Reason& reason) {
    forEachPart(dependencyTemplate, [&](std::string_view part) {
        const auto [place, isNew] = reasons_.try_emplace(std::string(part), reason);
        Reason& known = place->second;
        // Of equal versions a reason that names a symbol explains more than one that names only the library.
        const bool says =
            known.symbol.empty() && !reason.symbol.empty() && compareVersions(reason.version, known.version) == 0;
        if (!isNew && (says || isNewer(reason.version, known.version))) {
            known = reason;
        }
    });
}

void Needs::raise(std::string_view dependencyTemplate, const std::string& version, const std::string& why) {
    forEachPart(dependencyTemplate, [&](std::string_view part) {
        const auto found = reasons_.find(part);
        // A template that no file needs stays absent: a build dependency alone is not a reason to depend.
        if (found != reasons_.end() && isNewer(version, found->second.version)) {
            found->second.version = version;
            found->second.symbol = why;
        }
    });
}

void Needs::report(Report& report) const {
    std::vector<std::pair<Alternatives, Reason>> found;
    for (const auto& [dependencyTemplate, reason] : reasons_) {
        const std::string where(stream::orIfEmpty(reason.package, reason.library));
        for (Alternatives& alternatives : parseRelations(filledIn(dependencyTemplate, reason.version), where)) {
            requireVersions(alternatives, where);
            found.emplace_back(std::move(alternatives), reason);
        }
    }
    // Stable, and from a map in order of templates: of equal relations the same reason is kept on every run.
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return comesBefore(a.first, b.first); });
    for (auto& [alternatives, reason] : found) {
        reason.dependency = formatRelation(alternatives);
        // Two templates may come to one relation. The search is linear, but a package has tens of dependencies.
        auto& all = report.dependencies;
        if (std::find(all.begin(), all.end(), reason.dependency) == all.end()) {
            all.push_back(reason.dependency);
            report.reasons.push_back(std::move(reason));
        }
    }
}

}  // namespace bex::shlibs
