#include "buildfile/yaml/YamlReader.hpp"

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/mark.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <utility>

#include "bex/stream/Escape.hpp"

namespace bex::buildfile {

namespace {

// Documents are some five levels deep; walks recurse, so that the bound keeps the stack small.
constexpr std::size_t kDeepest = 64;
// Aliases of aliases multiply: a few lines can stand for billions of values.
constexpr std::size_t kMostValues = 1000000;
constexpr std::string_view kMergeKey = "<<";

/// Marks count from 0, and are negative for places that are not known; lines and columns of messages count from 1.
Spot spotOf(const YAML::Mark& mark) {
    return {static_cast<std::size_t>(std::max(mark.line, 0)) + 1,
            static_cast<std::size_t>(std::max(mark.column, 0)) + 1};
}

/// How many values a value is, itself included, and how many levels.
struct Extent {
    std::size_t values = 1;
    std::size_t depth = 1;
};

/// Recursion is bounded: only values that requireRoom() has let in are measured. Linear in the values.
Extent extentOf(const Value& value) {
    Extent whole;
    const auto include = [&whole](const Value& part) {
        const Extent extent = extentOf(part);
        whole.values += extent.values;
        whole.depth = std::max(whole.depth, extent.depth + 1);
    };
    std::for_each(value.items.begin(), value.items.end(), include);
    for (const Member& member : value.members) {
        include(member.value);
    }
    return whole;
}

/// Builds the document from the parser's events. It bounds depth and size as the events arrive: the parser, which
/// recurses, is left by an exception before either grows. No value is deeper than the bound, so walks may recurse.
class Builder : public YAML::EventHandler {
public:
    explicit Builder(std::string file) : file_(std::move(file)) {}

    Value takeDocument() { return std::move(document_); }

    void OnDocumentStart(const YAML::Mark& mark) override {
        // "---" may begin the one document; a second one would be lost in silence.
        if (documents_++ > 0) {
            fail(file_, spotOf(mark), "a second document begins: a build file holds one");
        }
    }
    void OnDocumentEnd() override {}

    void OnNull(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        Value value;
        value.at = spotOf(mark);
        place(std::move(value), anchor);
    }
    void OnAlias(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        const auto known = anchors_.find(anchor);
        // The parser knows the anchor, but place() has not stored it: the value is still open, and would hold
        // itself.
        if (known == anchors_.end()) {
            fail(file_, spotOf(mark), "an alias stands inside of what it names");
        }
        // Measured before the copy is made, which is what costs memory.
        const Extent extent = extentOf(known->second);
        requireRoom(extent.values, open_.size() + extent.depth, spotOf(mark));
        Value copy = known->second;
        // Messages name the line of the alias; values within the copy keep their own lines.
        copy.at = spotOf(mark);
        place(std::move(copy), 0);
    }
    // The tag is not looked at: numbers, flags and texts all arrive as the characters of the file.
    void OnScalar(const YAML::Mark& mark, const std::string&, YAML::anchor_t anchor,
                  const std::string& text) override {
        Value value;
        value.kind = Value::Kind::scalar;
        value.at = spotOf(mark);
        value.text = text;
        place(std::move(value), anchor);
    }
    void OnSequenceStart(const YAML::Mark& mark, const std::string&, YAML::anchor_t anchor,
                         YAML::EmitterStyle::value) override {
        begin(Value::Kind::list, mark, anchor);
    }
    void OnSequenceEnd() override { end(); }
    void OnMapStart(const YAML::Mark& mark, const std::string&, YAML::anchor_t anchor,
                    YAML::EmitterStyle::value) override {
        begin(Value::Kind::map, mark, anchor);
    }
    void OnMapEnd() override {
        // Before the check for doubled keys, which would see what was merged: merge() takes no name that is there.
        merge(open_.back().value);
        refuseDoubled(open_.back().value);
        end();
    }

private:
    struct Open {
        Value value;
        YAML::anchor_t anchor = 0;
        bool hasKey = false;  ///< the last member's value is still to come
    };

    /// Counts the values. `depth` is what the document would have at that place. Called before any memory is
    /// taken.
    void requireRoom(std::size_t values, std::size_t depth, Spot at) {
        values_ += values;
        if (depth > kDeepest) {
            fail(file_, at, "more than " + std::to_string(kDeepest) + " levels");
        }
        if (values_ > kMostValues) {
            fail(file_, at, "more than " + std::to_string(kMostValues) + " values, copies by aliases included");
        }
    }

    void begin(Value::Kind kind, const YAML::Mark& mark, YAML::anchor_t anchor) {
        requireRoom(1, open_.size() + 1, spotOf(mark));
        Open& opened = open_.emplace_back();
        opened.value.kind = kind;
        opened.value.at = spotOf(mark);
        opened.anchor = anchor;
    }

    /// The parser calls it once for each begin(), in the order of nesting, so that something is open.
    void end() {
        Open closed = std::move(open_.back());
        open_.pop_back();
        place(std::move(closed.value), closed.anchor);
    }

    void place(Value value, YAML::anchor_t anchor) {
        // Lists and maps were counted in begin(), and copies in OnAlias().
        if (value.kind == Value::Kind::null || value.kind == Value::Kind::scalar) {
            requireRoom(1, open_.size(), value.at);
        }
        // A copy, since the value itself moves into the document. Anchors are 0 where there is none.
        if (anchor != 0) {
            anchors_[anchor] = value;
        }
        if (open_.empty()) {
            document_ = std::move(value);
            return;
        }
        // A map gets keys and values by turns; hasKey tells which of them this one is.
        Open& parent = open_.back();
        if (parent.value.kind == Value::Kind::list) {
            parent.value.items.push_back(std::move(value));
        } else if (parent.hasKey) {
            parent.value.members.back().value = std::move(value);
            parent.hasKey = false;
        } else {
            if (value.kind != Value::Kind::scalar) {
                // Maps and lists as keys are YAML, but no key of a build file is one.
                fail(file_, value.at, "a key must be a word");
            }
            parent.value.members.push_back({std::move(value.text), value.at, {}});
            parent.hasKey = true;
        }
    }

    /// Takes over what "<<" names; the map's own members count before it, an earlier map before a later one.
    void merge(Value& map) {
        // A second "<<" stays in the map, and is refused as an unknown key.
        const auto merged = std::find_if(map.members.begin(), map.members.end(),
                                         [](const Member& member) { return member.name == kMergeKey; });
        if (merged == map.members.end()) {
            return;
        }
        Value sources = std::move(merged->value);
        const Spot at = merged->at;
        map.members.erase(merged);
        // One map is the same as a list of one.
        if (sources.kind == Value::Kind::map) {
            Value list;
            list.items.push_back(std::move(sources));
            sources = std::move(list);
        }
        const bool areMaps = std::all_of(sources.items.begin(), sources.items.end(),
                                         [](const Value& source) { return source.kind == Value::Kind::map; });
        // "<<:" without a value means the same as no key; a text would be lost in silence.
        if (sources.kind == Value::Kind::scalar || !areMaps) {
            fail(file_, at, "<< must name a map or a list of maps");
        }
        for (Value& source : sources.items) {
            for (Member& member : source.members) {
                const auto sameName = [&member](const Member& other) { return other.name == member.name; };
                if (std::none_of(map.members.begin(), map.members.end(), sameName)) {
                    map.members.push_back(std::move(member));
                }
            }
        }
    }

    void refuseDoubled(const Value& map) const {
        // Pointers and a stable sort: of equal names the first in the file comes first, and a large map costs n
        // log n.
        std::vector<const Member*> sorted;
        for (const Member& member : map.members) {
            sorted.push_back(&member);
        }
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const Member* left, const Member* right) { return left->name < right->name; });
        const auto doubled =
            std::adjacent_find(sorted.begin(), sorted.end(),
                               [](const Member* left, const Member* right) { return left->name == right->name; });
        if (doubled != sorted.end()) {
            const Member& second = **std::next(doubled);
            fail(
                file_, second.at,
                quotedText(second.name) + " is given twice, first in line " + std::to_string((*doubled)->at.line));
        }
    }

    std::string file_;
    Value document_;
    // Lists and maps that have begun and not ended, outermost first.
    std::vector<Open> open_;
    std::map<YAML::anchor_t, Value> anchors_;
    std::size_t values_ = 0;
    std::size_t documents_ = 0;
};

}  // namespace

Value readYaml(const std::string& text, const std::string& file) {
    Builder builder(file);
    try {
        // The parser calls the builder as it goes; what the builder throws passes through it.
        std::istringstream input(text);
        YAML::Parser parser(input);
        while (parser.HandleNextDocument(builder)) {
        }
    } catch (const YAML::ParserException& e) {
        // The text may hold bytes of the file.
        fail(file, spotOf(e.mark), "is not YAML: " + stream::escapeForDisplay(e.msg));
    }
    return builder.takeDocument();
}

}  // namespace bex::buildfile
