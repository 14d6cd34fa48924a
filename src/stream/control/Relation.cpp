#include "bex/stream/Relation.hpp"

#include <algorithm>
#include <utility>

#include "stream/base/Ascii.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"
#include "stream/control/FieldValues.hpp"
#include "stream/control/Relations.hpp"

namespace bex::stream {

namespace {

const std::string& requireField(const ControlParagraph& paragraph, std::string_view name) {
    const std::string* const value = paragraph.find(name);
    // Mandatory by deb-control(5). An empty text in its place would satisfy nothing, and nobody would notice.
    if (value == nullptr) {
        throw invalidInput("", std::string(name) + " is missing");
    }
    return *value;
}

void requireSound(std::string_view field, std::string_view value, const std::string& fault) {
    if (!fault.empty()) {
        throw invalidInput("", std::string(field) + ' ' + quoted(value) + ' ' + fault);
    }
}

MultiArch multiArchOf(std::string_view word) {
    requireSound("Multi-Arch", word, multiArchFault(word));
    if (equalIgnoringCase(word, "same")) {
        return MultiArch::same;
    }
    if (equalIgnoringCase(word, "foreign")) {
        return MultiArch::foreign;
    }
    if (equalIgnoringCase(word, "allowed")) {
        return MultiArch::allowed;
    }
    // The check above accepts no other word.
    return MultiArch::no;
}

std::vector<Relation> providesOf(std::string_view value) {
    RelationList list = readRelations(value, kProvidesRules);
    requireSound("Provides", value, list.fault);
    // The rules allow no alternatives, so each group has one relation.
    std::vector<Relation> provides;
    for (Alternatives& group : list.groups) {
        // No group is empty: the reader adds a relation before it looks for the next separator.
        provides.push_back(std::move(group.front()));
    }
    return provides;
}

/// The question whether a package of an architecture is one that a relation means.
class ArchitectureTest {
public:
    ArchitectureTest(const Relation& relation, const RelationScope& scope)
        : qualifier_(relation.architecture), scope_(scope) {}

    bool admits(std::string_view architecture, MultiArch multiArch) const {
        // A provided name may itself be one of "any" architecture.
        if (qualifier_ == "any") {
            return multiArch == MultiArch::allowed || architecture == "any";
        }
        // An explicit architecture is meant to the letter: "foreign" does not widen it.
        if (!qualifier_.empty()) {
            return real(qualifier_) == real(architecture);
        }
        return scope_.unqualifiedMeansAny || multiArch == MultiArch::foreign ||
               real(scope_.architecture) == real(architecture);
    }

private:
    std::string_view real(std::string_view architecture) const {
        // A package of architecture "all" counts as one of the native architecture.
        if (architecture == "all") {
            return scope_.native;
        }
        return architecture;
    }

    std::string_view qualifier_;
    const RelationScope& scope_;
};

/// A Provides without a version is of no version, not of every one.
bool admitsProvided(const std::optional<VersionBound>& wanted, const std::optional<VersionBound>& provided) {
    // Only `=` is allowed in Provides, so that the provided bound is one version.
    return !wanted || (provided && wanted->admits(provided->version));
}

}  // namespace

bool VersionBound::admits(const Version& candidate) const noexcept {
    const int order = candidate.compare(version);
    switch (comparison) {
        case VersionOperator::earlier:
            return order < 0;
        case VersionOperator::earlierOrEqual:
            return order <= 0;
        case VersionOperator::equal:
            return order == 0;
        case VersionOperator::laterOrEqual:
            return order >= 0;
        case VersionOperator::later:
            return order > 0;
    }
    // Reached only by a value outside the enumeration.
    return false;
}

std::string Relation::format() const {
    std::string text = package;
    if (!architecture.empty()) {
        text.append(":").append(architecture);
    }
    if (bound) {
        // Their order is that of the enumeration.
        const std::string_view sign = kVersionSigns[static_cast<std::size_t>(bound->comparison)];
        text.append(" (").append(sign).append(" ").append(bound->version.format()).append(")");
    }
    return text;
}

bool Relation::satisfiedBy(const Candidate& candidate, const RelationScope& scope) const {
    const ArchitectureTest architectures(*this, scope);
    // The package itself comes first: it may also provide its own name with another version.
    if (candidate.name == package && (!bound || bound->admits(candidate.version)) &&
        architectures.admits(candidate.architecture, candidate.multiArch)) {
        return true;
    }
    return std::any_of(candidate.provides.begin(), candidate.provides.end(), [&](const Relation& provided) {
        // What is provided has the architecture of its package unless it says otherwise.
        return provided.package == package && admitsProvided(bound, provided.bound) &&
               architectures.admits(orIfEmpty(provided.architecture, candidate.architecture), candidate.multiArch);
    });
}

std::vector<Alternatives> parseRelations(std::string_view value) {
    RelationList list = readRelations(value, kDependsRules);
    if (!list.fault.empty()) {
        throw invalidInput("", "the dependency field " + quoted(value) + ' ' + list.fault);
    }
    return list.groups;
}

std::string formatRelations(const std::vector<Alternatives>& groups) {
    std::string text;
    for (const Alternatives& group : groups) {
        std::string alternatives;
        for (const Relation& relation : group) {
            appendPart(alternatives, " | ", relation.format());
        }
        appendPart(text, ", ", alternatives);
    }
    return text;
}

Candidate Candidate::of(const ControlParagraph& paragraph) {
    Candidate candidate;
    candidate.name = requireField(paragraph, "Package");
    candidate.version = Version::parse(requireField(paragraph, "Version"));
    candidate.architecture = requireField(paragraph, "Architecture");
    if (const std::string* multiArch = paragraph.find("Multi-Arch")) {
        candidate.multiArch = multiArchOf(*multiArch);
    }
    if (const std::string* provides = paragraph.find("Provides")) {
        candidate.provides = providesOf(*provides);
    }
    return candidate;
}

}  // namespace bex::stream
