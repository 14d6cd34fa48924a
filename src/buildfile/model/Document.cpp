#include "buildfile/model/Document.hpp"

#include <ctime>
#include <utility>

#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

/// Permission bits in octal digits, with "0o" before them or not.
/// YAML readers turn 0644 and 0o644 into numbers of different bases; here both are the digits that stand in the
/// file.
std::optional<std::uint32_t> parsedMode(std::string_view digits) {
    if (digits.substr(0, 2) == "0o") {
        digits.remove_prefix(2);
    }
    const auto mode = stream::parseWhole<std::uint32_t>(digits, 8);
    if (!mode || *mode > 07777) {
        return std::nullopt;
    }
    return mode;
}

/// Seconds since 1970 from such a number, or from a time or day as RFC 3339 has them.
std::optional<std::int64_t> parsedTime(const std::string& text) {
    for (const char* form : {"%Y-%m-%dT%H:%M:%S%z", "%Y-%m-%d %H:%M:%S%z", "%Y-%m-%d"}) {
        std::tm fields{};
        const char* rest = strptime(text.c_str(), form, &fields);
        // Only a form that takes the whole text: a day would otherwise take the beginning of a time.
        if (rest != nullptr && *rest == '\0') {
            const long offset = fields.tm_gmtoff;  // timegm() resets it
            return timegm(&fields) - offset;
        }
    }
    return stream::parseWhole<std::int64_t>(text);
}

}  // namespace

const Value* memberOf(const Value* map, std::string_view key) {
    if (map == nullptr) {
        return nullptr;
    }
    return map->find(key);
}

Document::Document(const Value& root, const std::string& file)
    : root_(root), file_(file), overrides_(memberOf(root.find("overrides"), kFormat)) {}

std::vector<const Value*> Document::layers(std::string_view key) const {
    return {memberOf(overrides_, key), root_.find(key)};
}

const Value* Document::overridable(std::string_view key) const {
    const Value* const instead = memberOf(overrides_, key);
    if (instead != nullptr) {
        return instead;
    }
    return root_.find(key);
}

const Value* Document::inDeb(std::string_view key) const {
    for (const Value* section : layers(kFormat)) {
        if (const Value* value = memberOf(section, key)) {
            return value;
        }
    }
    return nullptr;
}

std::optional<std::string> Document::text(const Value* value, Expansion expansion) const {
    if (value == nullptr) {
        return std::nullopt;
    }
    return expanded(*value, expansion, file_);
}

std::vector<std::string> Document::texts(const Value* list) const {
    std::vector<std::string> texts;
    if (list == nullptr) {
        return texts;
    }
    for (const Value& item : list->items) {
        // An item may be a variable that is empty: it leaves no empty relation behind.
        if (std::string text = expanded(item, Expansion::shell, file_); !text.empty()) {
            texts.push_back(std::move(text));
        }
    }
    return texts;
}

std::optional<NamedPath> Document::path(const Value* value) const {
    const auto path = text(value);
    if (!path || path->empty()) {
        return std::nullopt;
    }
    return NamedPath{*path, value->at};
}

std::vector<NamedPath> Document::paths(const Value* list) const {
    std::vector<NamedPath> paths;
    if (list == nullptr) {
        return paths;
    }
    for (const Value& item : list->items) {
        if (auto path = this->path(&item)) {
            paths.push_back(std::move(*path));
        }
    }
    return paths;
}

std::uint32_t Document::mode(const Value& value) const {
    const std::string text = expanded(value, Expansion::shell, file_);
    const auto mode = parsedMode(text);
    if (!mode) {
        fail(file_, value.at, quotedText(text) + " is not an octal mode up to 7777");
    }
    return *mode;
}

std::int64_t Document::time(const Value& value) const {
    const std::string text = expanded(value, Expansion::shell, file_);
    if (const auto time = parsedTime(text)) {
        return *time;
    }
    fail(file_, value.at, quotedText(text) + " is not a time such as 2008-01-02T15:04:05Z");
}

Spot Document::spotOf(const Value* value) const noexcept {
    if (value == nullptr) {
        return root_.at;
    }
    return value->at;
}

}  // namespace bex::buildfile
