#include "verbs/Difference.hpp"

#include <fmt/format.h>

#include <map>
#include <utility>

#include "output/Text.hpp"
#include "stream/base/Text.hpp"

namespace bex::tool {

using stream::ControlParagraph;
using stream::Entry;

namespace {

using Entries = std::map<std::string, DigestedEntry>;

/// In the order of the first package, then what only the second has. Quadratic in the fields, of which there are
/// few.
void compareFields(const ControlParagraph& before, const ControlParagraph& after,
                   std::vector<Difference>& result) {
    for (const auto& field : before.fields()) {
        const std::string* value = after.find(field.name);
        if (value == nullptr) {
            result.push_back(
                {Difference::Kind::field, Change::removed, field.name, {{"value", field.value, ""}}, {}});
        } else if (*value != field.value) {
            result.push_back(
                {Difference::Kind::field, Change::changed, field.name, {{"value", field.value, *value}}, {}});
        }
    }
    for (const auto& field : after.fields()) {
        if (before.find(field.name) == nullptr) {
            result.push_back(
                {Difference::Kind::field, Change::added, field.name, {{"value", "", field.value}}, {}});
        }
    }
}

std::string ownerText(const Entry& entry) {
    return fmt::format("{}/{} ({}/{})", entry.owner, entry.group, entry.uid, entry.gid);
}

using Details = std::vector<Difference::Detail>;

/// Only what differs becomes a detail: a pair without details is equal.
void note(Details& details, const char* what, std::string before, std::string after) {
    if (before != after) {
        details.push_back({what, std::move(before), std::move(after)});
    }
}

/// All details but the time.
Details detailsOf(const DigestedEntry& before, const DigestedEntry& after) {
    Details details;
    note(details, "type", nameOf(before.entry.type), nameOf(after.entry.type));
    note(details, "size", std::to_string(before.entry.size), std::to_string(after.entry.size));
    note(details, "mode", fmt::format("{:04o}", before.entry.mode), fmt::format("{:04o}", after.entry.mode));
    note(details, "owner", ownerText(before.entry), ownerText(after.entry));
    note(details, "target", before.entry.linkTarget, after.entry.linkTarget);
    // Both are empty for an entry without contents, such as directories.
    note(details, "contents", before.digest, after.digest);
    return details;
}

/// The compressed size follows from compression and contents; of other members the size is all that is known.
Details detailsOf(const std::string& name, const DigestedMember& before, const DigestedMember& after) {
    Details details;
    note(details, "compression", before.compression, after.compression);
    // The names are those of DigestedMember's map, without the ending of the compression.
    if (name != "control.tar" && name != "data.tar") {
        note(details, "size", std::to_string(before.size), std::to_string(after.size));
    }
    return details;
}

/// Calls removed(name), added(name) or both(name, before, after) for each name, in their order.
template <typename Values, typename Removed, typename Added, typename Both>
void forEachOf(const Values& before, const Values& after, Removed removed, Added added, Both both) {
    // Both maps are in the order of their keys, which makes one pass enough.
    auto a = before.begin();
    auto b = after.begin();
    while (a != before.end() || b != after.end()) {
        if (b == after.end() || (a != before.end() && a->first < b->first)) {
            removed((a++)->first);
        } else if (a == before.end() || b->first < a->first) {
            added((b++)->first);
        } else {
            both(a->first, a->second, b->second);
            ++a;
            ++b;
        }
    }
}

class Comparer {
public:
    explicit Comparer(const ComparisonRequest& request) : request_(request) {}

    void compareMembers(const PackageDigest& before, const PackageDigest& after) {
        constexpr auto kind = Difference::Kind::member;
        forEachOf(
            before.members, after.members, [&](const std::string& name) { add(kind, Change::removed, name); },
            [&](const std::string& name) { add(kind, Change::added, name); },
            [&](const std::string& name, const DigestedMember& a, const DigestedMember& b) {
                Details details = detailsOf(name, a, b);
                if (!details.empty()) {
                    result_.differences.push_back({kind, Change::changed, name, std::move(details), {}});
                }
            });
    }

    void compareEntries(Difference::Kind kind, const Entries& before, const Entries& after) {
        forEachOf(
            before, after, [&](const std::string& path) { add(kind, Change::removed, path); },
            [&](const std::string& path) { add(kind, Change::added, path); },
            [&](const std::string& path, const DigestedEntry& a, const DigestedEntry& b) {
                comparePair({kind, Change::changed, shownName(path), {}, {}}, a, b);
            });
    }

    Comparison take() { return std::move(result_); }

    std::vector<Difference>& differences() { return result_.differences; }

private:
    /// The package's root has no name of its own.
    static std::string shownName(const std::string& path) { return std::string(stream::orIfEmpty(path, ".")); }

    void add(Difference::Kind kind, Change change, const std::string& name) {
        result_.differences.push_back({kind, change, shownName(name), {}, {}});
    }

    void comparePair(Difference difference, const DigestedEntry& before, const DigestedEntry& after) {
        difference.details = detailsOf(before, after);
        if (request_.times) {
            note(difference.details, "time", isoTime(before.entry.mtime), isoTime(after.entry.mtime));
        }
        // Times differ in every rebuild: on their own they are only counted, unless they were asked for.
        if (difference.details.empty()) {
            if (before.entry.mtime != after.entry.mtime) {
                ++result_.timesAlone;
            }
            return;
        }
        // Texts are compared line by line later, when the differences are printed: they may be many.
        if (before.digest != after.digest && before.text && after.text) {
            difference.texts.emplace(*before.text, *after.text);
        }
        result_.differences.push_back(std::move(difference));
    }

    // The caller's, for the length of one comparison.
    const ComparisonRequest& request_;
    Comparison result_;
};

}  // namespace

Comparison compare(const PackageDigest& before, const PackageDigest& after, const ComparisonRequest& request) {
    Comparer comparer(request);
    if (request.members) {
        comparer.compareMembers(before, after);
    }
    if (request.fields) {
        compareFields(before.control, after.control, comparer.differences());
    }
    comparer.compareEntries(Difference::Kind::controlMember, before.controlMembers, after.controlMembers);
    comparer.compareEntries(Difference::Kind::entry, before.payload, after.payload);
    return comparer.take();
}

const char* nameOf(Difference::Kind kind) noexcept {
    switch (kind) {
        case Difference::Kind::member:
            return "member";
        case Difference::Kind::field:
            return "field";
        case Difference::Kind::controlMember:
            return "control";
        case Difference::Kind::entry:
            return "entry";
    }
    return "entry";
}

const char* nameOf(Change change) noexcept {
    switch (change) {
        case Change::added:
            return "added";
        case Change::removed:
            return "removed";
        case Change::changed:
            return "changed";
    }
    return "changed";
}

}  // namespace bex::tool
