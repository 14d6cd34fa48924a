#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

/// Reads paragraphs line by line; ControlParagraph::parse() says what is refused.
class ParagraphParser {
public:
    explicit ParagraphParser(Place place) : place_(std::move(place)) {}

    /// Takes the next line, without its newline.
    void take(std::string_view line);

    /// Whether no field has been read since the beginning or takeFields().
    bool empty() const noexcept { return fields_.empty(); }

    /// Whether an empty line has ended the paragraph. Any further text is then refused until takeFields().
    bool ended() const noexcept { return ended_; }

    /// Hands out the paragraph's fields and begins another one.
    std::vector<ControlParagraph::Field> takeFields();

    /// Throws for the line that was taken last.
    [[noreturn]] void fail(std::size_t offset, const std::string& reason,
                           ErrorKind kind = ErrorKind::damaged) const;

    /// Throws for the line after it, which is refused unread.
    [[noreturn]] void failNext(const std::string& reason, ErrorKind kind = ErrorKind::damaged) {
        ++line_;
        fail(0, reason, kind);
    }

    /// Throws for a text that ends too early.
    [[noreturn]] void failAtEnd(const std::string& reason);

private:
    void requireText(std::string_view line) const;
    void takeContinuation(std::string_view line);
    void takeField(std::string_view line);
    void requireNewName(std::string_view fieldName);

    Place place_;
    std::size_t line_ = 0;
    bool ended_ = false;
    std::vector<ControlParagraph::Field> fields_;
    // A tree, not a hash table: the package's maker may have chosen names that hash alike.
    std::map<std::string, std::size_t> lineOfName_;
};

/// As ControlParagraph::parse(), with errors about the place.
ControlParagraph parseParagraph(std::string_view text, const Place& place);

}  // namespace bex::stream
