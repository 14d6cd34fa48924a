#include "verbs/Difference.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "output/Text.hpp"

namespace bex::tool {

using stream::ControlParagraph;
using stream::Entry;

namespace {

using Entries = std::map<std::string, DigestedEntry>;

void compareFields(const ControlParagraph& before, const ControlParagraph& after,
                   std::vector<Difference>& result) {
    for (const auto& field : before.fields()) {
        const std::string* value = after.find(field.name);
        if (value == nullptr) {
            result.push_back({Difference::Kind::field, Change::removed, field.name, {{"value", field.value, ""}}});
        } else if (*value != field.value) {
            result.push_back(
                {Difference::Kind::field, Change::changed, field.name, {{"value", field.value, *value}}});
        }
    }
    for (const auto& field : after.fields()) {
        if (before.find(field.name) == nullptr) {
            result.push_back({Difference::Kind::field, Change::added, field.name, {{"value", "", field.value}}});
        }
    }
}

std::string ownerText(const Entry& entry) {
    return fmt::format("{}/{} ({}/{})", entry.owner, entry.group, entry.uid, entry.gid);
}

std::vector<Difference::Detail> detailsOf(const DigestedEntry& before, const DigestedEntry& after) {
    std::vector<Difference::Detail> details;
    const auto note = [&](const char* what, std::string a, std::string b) {
        if (a != b) {
            details.push_back({what, std::move(a), std::move(b)});
        }
    };
    note("type", nameOf(before.entry.type), nameOf(after.entry.type));
    note("size", std::to_string(before.entry.size), std::to_string(after.entry.size));
    note("mode", fmt::format("{:04o}", before.entry.mode), fmt::format("{:04o}", after.entry.mode));
    note("owner", ownerText(before.entry), ownerText(after.entry));
    note("time", isoTime(before.entry.mtime), isoTime(after.entry.mtime));
    note("target", before.entry.linkTarget, after.entry.linkTarget);
    note("contents", before.digest, after.digest);
    return details;
}

void compareEntries(Difference::Kind kind, const Entries& before, const Entries& after,
                    std::vector<Difference>& result) {
    const auto add = [&](Change change, const std::string& path, std::vector<Difference::Detail> details) {
        result.push_back({kind, change, path.empty() ? "." : path, std::move(details)});
    };
    auto a = before.begin();
    auto b = after.begin();
    while (a != before.end() || b != after.end()) {
        if (b == after.end() || (a != before.end() && a->first < b->first)) {
            add(Change::removed, (a++)->first, {});
        } else if (a == before.end() || b->first < a->first) {
            add(Change::added, (b++)->first, {});
        } else {
            auto details = detailsOf(a->second, b->second);
            if (!details.empty()) {
                add(Change::changed, a->first, std::move(details));
            }
            ++a;
            ++b;
        }
    }
}

}  // namespace

bool Difference::contentsDiffer() const {
    return std::any_of(details.begin(), details.end(), [](const Detail& detail) {
        return detail.what == "contents" && !detail.before.empty() && !detail.after.empty();
    });
}

std::vector<Difference> compare(const PackageDigest& before, const PackageDigest& after) {
    std::vector<Difference> result;
    compareFields(before.control, after.control, result);
    compareEntries(Difference::Kind::controlMember, before.controlMembers, after.controlMembers, result);
    compareEntries(Difference::Kind::entry, before.payload, after.payload, result);
    return result;
}

const char* nameOf(Difference::Kind kind) noexcept {
    switch (kind) {
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
