#include "arguments/FindingCodes.hpp"

#include <algorithm>

#include "bex/stream/Escape.hpp"
#include "bex/stream/Finding.hpp"

namespace bex::tool {

namespace {

/// What is wrong with it; "" for a code.
std::string faultOf(const std::string& code) {
    const std::vector<std::string>& codes = stream::findingCodes();
    if (std::binary_search(codes.begin(), codes.end(), code)) {
        return "";
    }
    return "no finding has the code \"" + stream::escapeForDisplay(code) + '"';
}

}  // namespace

void addFindingCodes(CLI::App& app, const std::string& name, const std::string& description,
                     std::vector<std::string>& codes) {
    app.add_option(name, codes, description)->option_text("CODE")->allow_extra_args(false)->check(faultOf);
}

}  // namespace bex::tool
