#include "stream/control/SignedText.hpp"

#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

constexpr std::string_view kBegin = "-----BEGIN PGP SIGNED MESSAGE-----";
constexpr std::string_view kSignature = "-----BEGIN PGP SIGNATURE-----";
constexpr std::string_view kEnd = "-----END PGP SIGNATURE-----";
constexpr std::string_view kEscape = "- ";

/// The signature covers no blanks at the end of a line, and no carriage return.
std::string_view withoutEnd(std::string_view line) {
    return line.substr(0, line.find_last_not_of(" \t\r") + 1);
}

}  // namespace

void SignedText::take(std::string_view line, ParagraphParser& parser) {
    // Whatever part a line is in, the parser gets one line for it, so that its numbers are those of the file.
    const std::string_view text = withoutEnd(line);
    switch (part_) {
        case Part::start:
            if (text == kBegin) {
                part_ = Part::headers;
                line = {};
            } else if (!text.empty()) {
                // The armour may only come first. Later its lines are text like any other, and refused as such.
                part_ = Part::unsignedText;
            }
            break;
        case Part::unsignedText:
            break;
        case Part::headers:
            // Not signed, so nothing of it may reach the parser.
            if (text.empty()) {
                part_ = Part::body;
            }
            line = {};
            break;
        case Part::body:
            line = bodyLine(line, parser);
            break;
        // Nothing of the signature reaches the parser; it is not verified here.
        case Part::signature:
            if (text == kEnd) {
                part_ = Part::end;
            }
            line = {};
            break;
        case Part::end:
            if (!text.empty()) {
                parser.failNext("a line after the signature, which does not cover it");
            }
            break;
    }
    parser.take(line);
}

std::string_view SignedText::bodyLine(std::string_view line, ParagraphParser& parser) {
    if (withoutEnd(line) == kSignature) {
        part_ = Part::signature;
        return {};
    }
    if (startsWith(line, kEscape)) {
        // Dash escaping (RFC 4880, 7.1): the signer's line is what follows "- ".
        return line.substr(kEscape.size());
    }
    // Such a line could be taken for armour by another reader, which would then see another end of the signed
    // text.
    if (!line.empty() && line.front() == '-') {
        parser.failNext("a signed line begins with a dash that is not escaped");
    }
    return line;
}

void SignedText::finish(ParagraphParser& parser) const {
    // Unsigned text has no armour, and `end` has all of it.
    if (part_ == Part::headers || part_ == Part::body || part_ == Part::signature) {
        parser.failAtEnd("the text ends before its signature does");
    }
}

}  // namespace bex::stream
