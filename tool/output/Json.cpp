#include "output/Json.hpp"

#include <fmt/format.h>

#include "bex/stream/Escape.hpp"
#include "output/Text.hpp"

namespace bex::tool {

std::string base64(std::string_view bytes) {
    static constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string result;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        unsigned group = 0;
        for (std::size_t at = i; at < i + 3; ++at) {
            group <<= 8U;
            if (at < bytes.size()) {
                group |= static_cast<unsigned char>(bytes[at]);
            }
        }
        for (const unsigned shift : {18U, 12U, 6U, 0U}) {
            result += digits[group >> shift & 63U];
        }
    }
    // The last group was filled with zeros: as many digits as bytes were missing become "=".
    const std::size_t missing = (3 - bytes.size() % 3) % 3;
    return result.replace(result.size() - missing, missing, missing, '=');
}

/// JSON has no form for bytes that are not UTF-8. Such a text is escaped for people, and its bytes follow in
/// base64.
void putText(Json& object, const std::string& key, std::string_view text) {
    if (stream::isUtf8(text)) {
        object[key] = text;
        return;
    }
    object[key] = stream::escapeForDisplay(text);
    object[key + "Base64"] = base64(text);
}

/// ASCII alone ("true"), so that no terminal or reader has to know an encoding.
std::string jsonText(const Json& object) {
    return object.dump(2, ' ', true) + "\n";
}

std::string jsonLine(const Json& object) {
    return object.dump(-1, ' ', true) + "\n";
}

/// Several objects are one a line, which readers can take one by one as they come.
std::string jsonObject(const Json& object, bool several) {
    if (several) {
        return jsonLine(object);
    }
    return jsonText(object);
}

Json jsonOf(const stream::Entry& entry) {
    Json object;
    putText(object, "path", entry.path);
    object["type"] = nameOf(entry.type);
    // A text: JSON has no octal numbers, and nobody reads a mode in decimal.
    object["mode"] = fmt::format("{:04o}", entry.mode);
    object["size"] = entry.size;
    object["mtime"] = isoTime(entry.mtime);
    object["uid"] = entry.uid;
    object["gid"] = entry.gid;
    putText(object, "owner", entry.owner);
    putText(object, "group", entry.group);
    if (!entry.linkTarget.empty()) {
        putText(object, "linkTarget", entry.linkTarget);
    }
    return object;
}

}  // namespace bex::tool
