#include "bex/stream/Escape.hpp"

#include <gtest/gtest.h>

#include <string>

#include "stream/base/Place.hpp"

namespace {

TEST(Escape, QuotesLongTextCutAtACharacter) {
    const std::string longest(60, 'a');
    EXPECT_EQ(bex::stream::quoted(longest), '"' + longest + '"');
    EXPECT_EQ(bex::stream::quoted(longest.substr(1) + "\xC3\xA9 b"), '"' + longest.substr(1) + "...\"");
    EXPECT_EQ(bex::stream::quoted(std::string(61, '\x80')).substr(0, 5), "\"\\x80");
}

}  // namespace
