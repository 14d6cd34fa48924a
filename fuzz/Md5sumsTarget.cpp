#include "Failure.hpp"
#include "Target.hpp"
#include "stream/control/Md5sums.hpp"

namespace bex::fuzz {
namespace {

std::string formatted(const std::vector<stream::Md5sum>& sums) {
    std::string text;
    for (const stream::Md5sum& sum : sums) {
        text += stream::formatMd5sum(sum);
    }
    return text;
}

}  // namespace

/// What was read is written so that it is read back the same.
void runMd5sums(std::string_view input) {
    std::vector<stream::Md5sum> sums;
    const std::string failure = test::failureOf([&] { sums = stream::parseMd5sums(input, "p: md5sums"); });
    require(failure.empty() || failure.rfind("p: md5sums:", 0) == 0, "an error names the text", failure);
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    for (const stream::Md5sum& sum : sums) {
        require(
            sum.digest.size() == 32 && sum.digest.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos,
            "a digest is 32 digits", std::string(sum.digest));
        require(!sum.path.empty() && sum.path.find('\n') == std::string::npos, "a path is one line",
                std::string(sum.path));
    }
    const std::string text = formatted(sums);
    requireEqual(text, formatted(stream::parseMd5sums(text, "again")), "what is written is read back");
}

}  // namespace bex::fuzz
