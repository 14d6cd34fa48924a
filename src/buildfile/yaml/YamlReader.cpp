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

constexpr std::size_t kDeepest = 64;
constexpr std::size_t kMostValues = 1000000;
constexpr std::string_view kMergeKey = "<<";

Spot spotOf(const YAML::Mark& mark) {
    return {static_cast<std::size_t>(std::max(mark.line, 0)) + 1,
            static_cast<std::size_t>(std::max(mark.column, 0)) + 1};
}

struct Extent {
    std::size_t values = 1;
    std::size_t depth = 1;
};

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
        if (known == anchors_.end()) {
            fail(file_, spotOf(mark), "an alias stands inside of what it names");
        }
        const Extent extent = extentOf(known->second);
        requireRoom(extent.values, open_.size() + extent.depth, spotOf(mark));
        Value copy = known->second;
        copy.at = spotOf(mark);
        place(std::move(copy), 0);
    }
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

    void end() {
        Open closed = std::move(open_.back());
        open_.pop_back();
        place(std::move(closed.value), closed.anchor);
    }

    void place(Value value, YAML::anchor_t anchor) {
        if (value.kind == Value::Kind::null || value.kind == Value::Kind::scalar) {
            requireRoom(1, open_.size(), value.at);
        }
        if (anchor != 0) {
            anchors_[anchor] = value;
        }
        if (open_.empty()) {
            document_ = std::move(value);
            return;
        }
        Open& parent = open_.back();
        if (parent.value.kind == Value::Kind::list) {
            parent.value.items.push_back(std::move(value));
        } else if (parent.hasKey) {
            parent.value.members.back().value = std::move(value);
            parent.hasKey = false;
        } else {
            if (value.kind != Value::Kind::scalar) {
                fail(file_, value.at, "a key must be a word");
            }
            parent.value.members.push_back({std::move(value.text), value.at, {}});
            parent.hasKey = true;
        }
    }

    /// Takes over what "<<" names; the map's own members count before it, an earlier map before a later one.
    void merge(Value& map) {
        const auto merged = std::find_if(map.members.begin(), map.members.end(),
                                         [](const Member& member) { return member.name == kMergeKey; });
        if (merged == map.members.end()) {
            return;
        }
        Value sources = std::move(merged->value);
        map.members.erase(merged);
        if (sources.kind == Value::Kind::map) {
            Value list;
            list.items.push_back(std::move(sources));
            sources = std::move(list);
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
    std::vector<Open> open_;
    std::map<YAML::anchor_t, Value> anchors_;
    std::size_t values_ = 0;
    std::size_t documents_ = 0;
};

}  // namespace

Value readYaml(const std::string& text, const std::string& file) {
    Builder builder(file);
    try {
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
