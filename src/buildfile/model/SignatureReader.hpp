#pragma once

#include <optional>
#include <string>
#include <vector>

#include "buildfile/model/Document.hpp"

namespace bex::buildfile {

/// What `deb.signature` asks for; nothing where it names no key, which a note then says. Throws StreamError
/// (`invalidInput`) at the value's place.
std::optional<SignatureRequest> readSignature(const Document& document, std::vector<std::string>& notes);

}  // namespace bex::buildfile
