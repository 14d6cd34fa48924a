#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "stream/codec/Codec.hpp"
#include "stream/codec/Gzip.hpp"
#include "stream/reader/HandMade.hpp"

namespace bex::test {
namespace {

/// Bits in the order in which deflate reads them; blanks are for the reader's eye.
std::string packedBits(const std::string& bits) {
    std::string bytes;
    unsigned count = 0;
    for (const char bit : bits) {
        if (bit != ' ') {
            bytes.resize(count / 8 + 1);
            bytes.back() = static_cast<char>(bytes.back() | (bit - '0') << (count++ % 8));
        }
    }
    return bytes;
}

/// The last block, of fixed codes: these and the end's.
std::string fixedCodes(const std::string& codes) {
    return packedBits("1 10 " + codes + " 0000000");
}

// How the lengths of codes are told in dynamicCodes().
const std::string kZero = "00 ";
const std::string kOne = "01 ";
const std::string kTwo = "110 ";
const std::string kThriceAgain = "111 00 ";
const std::string k254Zeros = "10 1111111 10 1001011 ";

/// The last block, of dynamic codes for 257 symbols and one distance: the lengths of all, and what is coded.
std::string dynamicCodes(const std::string& lengths, const std::string& codes) {
    return packedBits("1 01 00000 00000 0111 110 000 010 010 " + std::string(33, '0') + " 110 000 010 " + lengths +
                      codes);
}

/// A member, a block or not, of deflate data that stands for so many zeros.
std::string memberOf(const std::string& deflateData, std::size_t zeros, bool isBlock) {
    const std::string sound = gzipMember(std::string(zeros, '\0'));
    const auto header = stream::blockHeader(
        static_cast<std::uint32_t>(stream::kBlockHeaderBytes + deflateData.size() + stream::kGzipTrailerBytes));
    return (isBlock ? std::string(header.begin(), header.end()) : sound.substr(0, 10)) + deflateData +
           sound.substr(sound.size() - stream::kGzipTrailerBytes);
}

TEST(Strictness, DeflateDataThatZlibRefusesIsAFindingInEveryMember) {
    const std::string stored = std::string("\0\xff\x7f\0\x80", 5) + std::string(32767, '\0');
    const struct {
        const char* name;
        std::string deflateData;
        std::size_t zeros;
        bool sound = false;
    } cases[] = {
        {"a sound one", dynamicCodes(kOne + kZero + k254Zeros + kOne + kOne, "01"), 1, true},
        {"symbol 286", fixedCodes("00110000 11000110 00000"), 259},
        {"distance 30", stored + fixedCodes("00110000 0000001 11110 0000000000000"), 32771},
        {"repeats beyond the last", dynamicCodes(kOne + kZero + k254Zeros + kOne + kThriceAgain, "01"), 1},
        {"too many codes", dynamicCodes(kOne + kOne + k254Zeros + kOne + kOne, "01"), 1},
        {"unused codes", dynamicCodes(kTwo + kZero + k254Zeros + kTwo + kOne, "0001"), 1},
        {"unused distances", dynamicCodes(kOne + kZero + k254Zeros + kOne + kTwo, "01"), 1},
    };
    const auto finding = [](const std::string& member, const std::string& before) {
        return "member-damaged|" + member + "||gzip member at byte " + std::to_string(before.size()) +
               ": invalid deflate data";
    };
    for (const auto& c : cases) {
        for (const bool isBlock : {true, false}) {
            SCOPED_TRACE(c.name + std::string(isBlock ? " in a block" : " in a stream"));
            const auto pack = [&](const std::string& entry) {
                return isBlock ? lengthMember(tarOf(entry)) : gzipMember(tarOf(entry));
            };
            const std::string control = pack(tarFile("./control", kControlText));
            const std::string data = pack(tarFile("./x", "x"));
            const std::string odd = memberOf(c.deflateData, c.zeros, isBlock);
            std::vector<std::string> expected{finding("control.tar.gz", control), finding("data.tar.gz", data)};
            if (c.sound) {
                expected.clear();
            }
            EXPECT_EQ(
                findingsOf(arOf(arMember("debian-binary", "2.0\n") + arMember("control.tar.gz", control + odd) +
                                arMember("data.tar.gz", data + odd))),
                expected);
        }
    }
}

}  // namespace
}  // namespace bex::test
