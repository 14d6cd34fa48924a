#include "stream/codec/KeptBytes.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace bex::test {
namespace {

using stream::KeptBytes;

using Texts = std::vector<std::string>;

/// The pieces of a part.
Texts textsOf(const KeptBytes& kept, const KeptBytes::Part& part) {
    Texts texts;
    kept.forEach(part, [&texts](std::string_view bytes) { texts.emplace_back(bytes); });
    return texts;
}

// Six owners give 40 KiB each. As many as may be held are; the bytes of the others are copied, so that they stay
// when their memory is used again.
TEST(KeptBytes, HoldFewOwnersAndCopyTheRest) {
    constexpr std::size_t size = std::size_t{40} << 10;
    KeptBytes kept(6 * size);
    std::vector<std::shared_ptr<std::string>> owners;
    std::vector<KeptBytes::Part> parts;
    for (char letter = 'a'; letter != 'g'; ++letter) {
        owners.push_back(std::make_shared<std::string>(size, letter));
        parts.push_back(kept.begin());
        kept.add({*owners.back(), owners.back()}, parts.back());
    }
    EXPECT_TRUE(kept.crowded());
    EXPECT_EQ(kept.size(), 6 * size);
    for (const auto& owner : owners) {
        // A buffer that nobody else holds is used again.
        if (owner.use_count() == 1) {
            owner->assign(size, '!');
        }
    }
    EXPECT_EQ(owners.front().use_count(), 2);
    EXPECT_EQ(owners.back().use_count(), 1);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        EXPECT_EQ(textsOf(kept, parts[i]), Texts{std::string(size, static_cast<char>('a' + i))}) << i;
    }
    kept.clear();
    EXPECT_EQ(kept.size(), 0U);
    EXPECT_EQ(owners.front().use_count(), 1);
}

// Small pieces become one, whether they were held before or not; large ones stay apart.
TEST(KeptBytes, JoinSmallPieces) {
    const auto owner = std::make_shared<std::string>("held");
    KeptBytes kept(std::size_t{1} << 20);
    KeptBytes::Part small = kept.begin();
    kept.add({*owner, owner}, small);
    kept.add({" and copied", nullptr}, small);
    kept.add({" twice", nullptr}, small);
    const std::string much(std::size_t{100} << 10, 'm');
    KeptBytes::Part large = kept.begin();
    kept.add({much, nullptr}, large);
    kept.add({"more", nullptr}, large);
    EXPECT_EQ(textsOf(kept, small), Texts{"held and copied twice"});
    EXPECT_EQ(textsOf(kept, large), (Texts{much, "more"}));
    kept.drop(large);
    EXPECT_EQ(kept.size(), std::string("held and copied twice").size());
    EXPECT_EQ(textsOf(kept, small), Texts{"held and copied twice"});
}

}  // namespace
}  // namespace bex::test
