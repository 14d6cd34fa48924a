#include "stream/codec/Noise.hpp"

#include <gtest/gtest.h>

#include <string>

#include "stream/codec/Codec.hpp"

namespace bex::test {
namespace {

constexpr std::size_t kBlock = std::size_t{256} << 10;

/// `piece` again and again.
std::string repeated(const std::string& piece) {
    std::string data;
    while (data.size() < kBlock) {
        data += piece;
    }
    return data;
}

TEST(Noise, IsWhatDeflateGainsNothingOn) {
    const struct {
        const char* what;
        std::string data;
        bool noise;
    } cases[] = {
        {"nothing", "", false},
        {"too little to be worth a look", noise(1000), false},
        {"noise", noise(kBlock), true},
        {"gzip of text", piped("gzip", text(8 * kBlock)), true},
        {"text", text(kBlock), false},
        {"one byte", std::string(kBlock, 'x'), false},
        {"text behind as much noise", noise(kBlock) + text(kBlock), false},
        {"base64", piped("base64 -w0", noise(kBlock)), false},
        {"noise that comes again within reach", repeated(noise(30000)), false},
        {"noise that comes again out of reach", repeated(noise(40000)), true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(stream::isNoise(c.data), c.noise);
        const std::size_t best = compressed(c.data, {stream::Compression::gzip, 12, 1, 4 << 20}).size();
        EXPECT_LE(blocks(c.data, 4 << 20, 6).size(), best + best / 5) << "whatever it is taken for";
    }
}

}  // namespace
}  // namespace bex::test
