#pragma once

#include <string>
#include <vector>

#include "buildfile/model/Vocabulary.hpp"
#include "buildfile/yaml/Value.hpp"

namespace bex::buildfile {

/// Checks that the document has known keys alone, each with a value of its kind. Throws StreamError
/// (`invalidInput`) with the nearest known word. Returns the keys of other formats, as "rpm (line 7)"; what stands
/// below them is not checked.
std::vector<std::string> checkDocument(const Value& document, const std::string& file);

/// Whether a checked flag is set; `usual` where it is not given.
bool isTrue(const Value* flag, bool usual) noexcept;

}  // namespace bex::buildfile
