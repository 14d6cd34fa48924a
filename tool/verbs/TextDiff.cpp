#include "verbs/TextDiff.hpp"

#include <algorithm>
#include <dtl/dtl.hpp>
#include <sstream>
#include <vector>

#include "bex/stream/Escape.hpp"
#include "stream/base/Text.hpp"

namespace bex::tool {

namespace {

constexpr const char* kNoLineEnd = "\n\\ No newline at end of file";
constexpr std::size_t kMostLines = 100000;         ///< of one text: each costs some 300 bytes
constexpr std::size_t kMostComparisons = 4000000;  ///< of lines; at least one for each 24 bytes of dtl's path

/// Compares lines while the budget lasts. Then all lines are equal, so that dtl finds its end at once; it cannot
/// be left by an exception, since it would not free its memory.
struct BudgetedCompare {
    std::size_t* left;

    bool impl(const std::string& a, const std::string& b) const {
        if (*left == 0) {
            return true;
        }
        --*left;
        return a == b;
    }
};

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    // Escaped before they are compared, so that what is shown is what was compared. Escaping keeps different lines
    // different.
    stream::forEachLine(text, [&](std::string_view line) { lines.push_back(stream::escapeForDisplay(line)); });
    if (!lines.empty() && text.back() != '\n') {
        // As diff(1) shows it. A part of the line, so that texts that differ in it alone are different.
        lines.back() += kNoLineEnd;
    }
    return lines;
}

}  // namespace

bool isText(std::string_view bytes) {
    return bytes.size() <= kTextDiffBytes && bytes.find('\0') == std::string_view::npos && stream::isUtf8(bytes);
}

std::optional<std::string> unifiedHunks(std::string_view before, std::string_view after) {
    const std::vector<std::string> linesBefore = linesOf(before);
    const std::vector<std::string> linesAfter = linesOf(after);
    if (std::max(linesBefore.size(), linesAfter.size()) > kMostLines) {
        return std::nullopt;
    }
    // dtl copies the comparison; the pointer lets all copies count down the same number.
    std::size_t left = kMostComparisons;
    dtl::Diff<std::string, std::vector<std::string>, BudgetedCompare> diff(linesBefore, linesAfter,
                                                                           BudgetedCompare{&left});
    diff.compose();
    // The result is wrong from the moment the budget ended: it is dropped.
    if (left == 0) {
        return std::nullopt;
    }
    diff.composeUnifiedHunks();
    std::ostringstream hunks;
    diff.printUnifiedFormat(hunks);
    return hunks.str();
}

}  // namespace bex::tool
