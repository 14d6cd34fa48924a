#include "verbs/TextDiff.hpp"

#include <algorithm>
#include <dtl/dtl.hpp>
#include <sstream>
#include <vector>

#include "bex/stream/Escape.hpp"

namespace bex::tool {

namespace {

constexpr const char* noLineEnd = "\n\\ No newline at end of file";

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\n', begin);
        const bool whole = end != std::string_view::npos;
        const std::string_view line = text.substr(begin, whole ? end - begin : end);
        lines.push_back(stream::escapeForDisplay(line) + (whole ? "" : noLineEnd));
        begin = whole ? end + 1 : text.size();
    }
    return lines;
}

}  // namespace

bool isText(std::string_view bytes) {
    return bytes.size() <= textDiffBytes && bytes.find('\0') == std::string_view::npos && stream::isUtf8(bytes);
}

std::string unifiedHunks(std::string_view before, std::string_view after) {
    const std::vector<std::string> linesBefore = linesOf(before);
    const std::vector<std::string> linesAfter = linesOf(after);
    dtl::Diff<std::string> diff(linesBefore, linesAfter);
    diff.compose();
    diff.composeUnifiedHunks();
    std::ostringstream hunks;
    diff.printUnifiedFormat(hunks);
    return hunks.str();
}

}  // namespace bex::tool
