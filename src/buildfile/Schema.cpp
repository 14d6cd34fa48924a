#include <nlohmann/json.hpp>

#include "bex/buildfile/BuildFile.hpp"
#include "buildfile/model/Vocabulary.hpp"
#include "stream/base/Text.hpp"

namespace bex::buildfile {

namespace {

using Json = nlohmann::ordered_json;

// Sections hold sections, so this and valueSchema() call each other; the vocabulary is a finite tree without
// circles.
Json schemaOf(const Section& section);

/// YAML tells numbers from texts, and the reader does not: either may stand for a text.
Json textSchema() {
    return {{"type", {"string", "number", "boolean", "null"}}};
}

/// "null" stands for "key:" without a value, which means the same as no key.
Json valueSchema(const Key& key) {
    switch (key.kind) {
        case KeyKind::text:
            return textSchema();
        case KeyKind::flag:
            // A string too: the words of YAML 1.1, such as yes, are texts to a reader of YAML 1.2.
            return {{"type", {"boolean", "string", "null"}}};
        case KeyKind::choice: {
            Json words = Json::array();
            stream::forEachPart(key.words, ' ', [&words](std::string_view word) { words.push_back(word); });
            words.push_back("");
            words.push_back(nullptr);
            return {{"enum", words}};
        }
        case KeyKind::level: {
            std::string pattern;
            stream::forEachPart(key.words, ' ',
                                [&pattern](std::string_view word) { stream::appendPart(pattern, "|", word); });
            return {{"type", {"string", "null"}}, {"pattern", "^((" + pattern + ")(:-?[0-9]+)?)?$"}};
        }
        case KeyKind::texts:
            return {{"type", {"array", "null"}}, {"items", textSchema()}};
        case KeyKind::textMap:
            return {{"type", {"object", "null"}}, {"additionalProperties", textSchema()}};
        case KeyKind::section:
            return schemaOf(*key.section);
        case KeyKind::sections: {
            Json items = schemaOf(*key.section);
            // A section may be empty, but an item of a list may not.
            items["type"] = "object";
            return {{"type", {"array", "null"}}, {"items", items}};
        }
        // Checked by nobody: the reader skips such values with a note, whatever they hold.
        case KeyKind::foreign:
            break;
    }
    return Json::object();
}

Json schemaOf(const Section& section) {
    Json properties = Json::object();
    for (const Key& key : section) {
        Json value = valueSchema(key);
        value["description"] = key.help;
        properties[std::string(key.name)] = std::move(value);
    }
    return {{"type", {"object", "null"}}, {"properties", properties}, {"additionalProperties", false}};
}

}  // namespace

std::string schema() {
    Json document = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                     {"title", "A build file of bex, or of nfpm for Debian packages"}};
    // Ordered JSON: properties come in the order of the vocabulary, and the file is the same on every run.
    document.update(schemaOf(documentSection()));
    document["type"] = "object";
    return document.dump(2) + "\n";
}

}  // namespace bex::buildfile
