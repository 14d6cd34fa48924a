#pragma once

#include <string_view>

namespace bex::signing {

/// Whether the text is nothing but one or more whole OpenPGP signatures in ASCII armor (RFC 9580, sections 4.2 and
/// 6.2): complete lines of base64, the right checksum where it has one, and signature packets from the first byte
/// to the last. Who signed, and what, is not checked.
bool isArmoredSignature(std::string_view text);

}  // namespace bex::signing
