#include "bex/stream/Attributes.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

void set(std::string_view text, std::uint64_t& number, std::string& name) {
    const auto given = parseWhole<std::uint64_t>(text);
    number = given.value_or(0);
    name = text;
    if (given) {
        name.clear();
    }
}

}  // namespace

Ownership ownershipOf(std::string_view user, std::string_view group) {
    Ownership ownership;
    set(user, ownership.uid, ownership.owner);
    set(group, ownership.gid, ownership.group);
    return ownership;
}

}  // namespace bex::stream
