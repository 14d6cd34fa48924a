#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "bex/stream/Entry.hpp"

namespace bex::tool {

/// Keeps the order in which keys are put, so that output is stable and reads well.
using Json = nlohmann::ordered_json;

/// RFC 4648, section 4.
std::string base64(std::string_view bytes);

/// Puts a text from a package or a disk: as it is where it is UTF-8, else escaped under `key` and whole under
/// `key` + "Base64".
void putText(Json& object, const std::string& key, std::string_view text);

/// The object as lines of ASCII, so that no terminal obeys it.
std::string jsonText(const Json& object);

/// The same in one line.
std::string jsonLine(const Json& object);

/// One of several objects in one line, so that programs read a line an object; a single one as jsonText().
std::string jsonObject(const Json& object, bool several);

/// A payload entry as docs/bex.schema.json describes it.
Json jsonOf(const stream::Entry& entry);

}  // namespace bex::tool
