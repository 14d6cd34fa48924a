#include "Nearest.hpp"

#include <gtest/gtest.h>

namespace bex::tool {

namespace {

TEST(Nearest, FindsTheWordThatWasMeantOrNone) {
    const std::vector<std::string> known = {"build", "list", "cat", "--name", "--version", "Version"};
    const struct {
        const char* word;
        const char* meant;
    } cases[] = {
        {"bild", "build"},
        {"biuld", "build"},
        {"bundle", ""},
        {"lst", "list"},
        {"c", ""},
        {"xyz", ""},
        {"", ""},
        {"VERSON", "Version"},
        {"--verson", "--version"},
        {"--nmae", "--name"},
        {"list", "list"},
        {"at", "cat"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(nearest(c.word, known), c.meant) << c.word;
    }
    EXPECT_EQ(nearest("build", {}), "");
}

}  // namespace

}  // namespace bex::tool
