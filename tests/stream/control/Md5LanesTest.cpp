#include "stream/control/Md5Lanes.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace bex::stream {
namespace {

std::string sumOf(const std::string& text) {
    Md5 sum;
    sum.update(text.data(), text.size());
    return sum.hexDigest();
}

/// Every way in which whole blocks and padding can end beside those of other texts, and fewer or more texts than
/// there are lanes.
TEST(Md5Lanes, GivesTheSumsOfTextsOfAnyLengthAndNumber) {
    std::mt19937 random(7);
    std::vector<std::string> texts;
    for (std::size_t size = 0; size <= 260; ++size) {
        texts.emplace_back(size, static_cast<char>(random()));
    }
    for (int i = 0; i < 60; ++i) {
        texts.emplace_back(random() % 20000, '\0');
        for (char& byte : texts.back()) {
            byte = static_cast<char>(random());
        }
    }
    for (const Md5Lanes::Engine& engine : Md5Lanes::engines()) {
        Md5Lanes lanes(engine);
        std::size_t begin = 0;
        for (std::size_t count = 0; begin < texts.size(); begin += count, ++count) {
            const std::size_t end = std::min(begin + count, texts.size());
            std::vector<Md5::HexDigest> digests(end - begin);
            for (std::size_t i = begin; i < end; ++i) {
                lanes.add(texts[i], digests[i - begin]);
            }
            lanes.finish();
            for (std::size_t i = begin; i < end; ++i) {
                EXPECT_EQ(digests[i - begin].data(), sumOf(texts[i])) << engine.name << ", text " << i;
            }
        }
    }
}

}  // namespace
}  // namespace bex::stream
