#include "output/Json.hpp"

#include <fmt/format.h>

#include "bex/stream/Escape.hpp"
#include "output/Text.hpp"

namespace bex::tool {

namespace {

/// RFC 4648, section 4.
std::string base64(std::string_view bytes) {
    static constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string result;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto byteAt = [&](std::size_t at) {
            return at < bytes.size() ? static_cast<unsigned>(static_cast<unsigned char>(bytes[at])) : 0U;
        };
        const unsigned group = byteAt(i) << 16U | byteAt(i + 1) << 8U | byteAt(i + 2);
        result += digits[group >> 18U];
        result += digits[group >> 12U & 63U];
        result += i + 1 < bytes.size() ? digits[group >> 6U & 63U] : '=';
        result += i + 2 < bytes.size() ? digits[group & 63U] : '=';
    }
    return result;
}

}  // namespace

void putText(Json& object, const std::string& key, std::string_view text) {
    if (stream::isUtf8(text)) {
        object[key] = text;
        return;
    }
    object[key] = stream::escapeForDisplay(text);
    object[key + "Base64"] = base64(text);
}

std::string jsonText(const Json& object) {
    return object.dump(2, ' ', true) + "\n";
}

std::string jsonLine(const Json& object) {
    return object.dump(-1, ' ', true) + "\n";
}

std::string jsonObject(const Json& object, bool several) {
    return several ? jsonLine(object) : jsonText(object);
}

Json jsonOf(const stream::Entry& entry) {
    Json object;
    putText(object, "path", entry.path);
    object["type"] = nameOf(entry.type);
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
