#pragma once

#include <string_view>

#include "stream/control/ParagraphParser.hpp"

namespace bex::stream {

/// Takes the armour of a cleartext signature (RFC 4880, section 7) off a text, line by line. A text that does not
/// begin with one passes unchanged. Text before the armour makes it a text without one; text behind it is refused,
/// for no signature covers it.
class SignedText {
public:
    /// Hands the line to the parser as the signer meant it; lines of the armour become empty lines, which end a
    /// paragraph.
    void take(std::string_view line, ParagraphParser& parser);

    /// Fails where the armour lacks its end.
    void finish(ParagraphParser& parser) const;

private:
    enum class Part { start, unsignedText, headers, body, signature, end };

    std::string_view bodyLine(std::string_view line, ParagraphParser& parser);

    Part part_ = Part::start;
};

}  // namespace bex::stream
