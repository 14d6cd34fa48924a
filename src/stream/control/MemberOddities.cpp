#include "stream/control/MemberOddities.hpp"

namespace bex::stream {

std::vector<Oddity> memberOddities(std::string_view name, std::string_view contents) {
    if (name == "control") {
        return controlOddities(contents);
    }
    if (name == "triggers") {
        return triggersOddities(contents);
    }
    if (isMaintainerScript(name)) {
        if (const auto oddity = maintainerScriptOddity(contents)) {
            return {*oddity};
        }
    }
    return {};
}

}  // namespace bex::stream
