#include "bex/stream/Nearest.hpp"

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "stream/base/Ascii.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kNearEdits = 2;

/// Edits (insert, delete, replace one character) that turn one word into the other.
std::size_t distance(const std::string& a, const std::string& b) {
    // Before each round, row[j] is the distance between the characters of `a` used so far and the first j of `b`.
    // One row is enough: `diagonal` keeps the one value of the round before that is overwritten too early. The
    // time grows with the product of both lengths.
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char c : a) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            std::size_t replaced = diagonal;
            if (toLowerCase(c) != toLowerCase(b[j])) {
                ++replaced;
            }
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string nearest(const std::string& word, const std::vector<std::string>& known) {
    std::string best;
    std::size_t bestDistance = kNearEdits + 1;
    for (const auto& candidate : known) {
        const std::size_t edits = distance(word, candidate);
        // A word that shares no letter at all does not help, however short it is.
        if (edits < bestDistance && edits < std::min(word.size(), candidate.size())) {
            best = candidate;
            bestDistance = edits;
        }
    }
    return best;
}

}  // namespace bex::stream
