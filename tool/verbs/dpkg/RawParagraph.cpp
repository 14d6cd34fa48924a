#include "verbs/dpkg/RawParagraph.hpp"

#include <algorithm>
#include <cstddef>

#include "stream/base/Ascii.hpp"

namespace bex::tool {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

/// Where the field that begins at `begin` ends: at a line that is not a continuation, or at the end of the text.
std::size_t endOfField(std::string_view text, std::size_t begin) {
    for (std::size_t end = begin; (end = text.find('\n', end)) != std::string_view::npos;) {
        ++end;
        if (end >= text.size() || (text[end] != ' ' && text[end] != '\t')) {
            return end;
        }
    }
    return text.size();
}

}  // namespace

std::string_view trimmed(std::string_view text) noexcept {
    return stream::trimmed(text, kBlanks);
}

RawParagraph::RawParagraph(std::string_view text) {
    // endOfField() gives a place after `begin`, so that the loop ends. Fields are views of the text.
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = endOfField(text, begin);
        const std::string_view field = text.substr(begin, end - begin);
        const std::size_t colon = field.find(':');
        // The reader has parsed the same text and refused what is not a field; comments and empty lines are left.
        if (colon != std::string_view::npos && field.front() != '#') {
            std::string_view value = field.substr(colon + 1);
            value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
            value = value.substr(0, value.find_last_not_of(kBlanks) + 1);
            fields_.push_back({trimmed(field.substr(0, colon)), value});
        }
        begin = end;
    }
}

const RawParagraph::Field* RawParagraph::find(std::string_view name) const noexcept {
    const auto found = std::find_if(fields_.begin(), fields_.end(), [name](const Field& field) {
        return stream::equalIgnoringCase(field.name, name);
    });
    if (found == fields_.end()) {
        return nullptr;
    }
    return &*found;
}

}  // namespace bex::tool
