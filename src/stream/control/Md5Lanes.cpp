#include "stream/control/Md5Lanes.hpp"
#include "stream/base/Hex.hpp"

#include <endian.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace bex::stream {

namespace {

constexpr std::size_t kSteps = 64;
constexpr std::size_t kWords = 16;  // of a block

// What each step adds, and how far each of the four rounds rotates: RFC 1321, section 3.4.
constexpr std::uint32_t kAddends[kSteps] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};
constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
constexpr std::array<std::uint32_t, 4> kInitial = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

template <std::size_t Lanes>
struct Vector {
    typedef std::uint32_t Type __attribute__((vector_size(4 * Lanes)));
};

template <std::size_t Step, class V>
[[gnu::always_inline]] inline void takeStep(V (&sum)[4], const V (&words)[kWords]) {
    // The roles of the four words move on by one in each step.
    V& a = sum[(kSteps - Step) % 4];
    const V& b = sum[(kSteps - Step + 1) % 4];
    const V& c = sum[(kSteps - Step + 2) % 4];
    const V& d = sum[(kSteps - Step + 3) % 4];
    constexpr std::size_t round = Step / 16;
    constexpr int shift = kShifts[round][Step % 4];
    V mixed;
    if constexpr (round == 0) {
        mixed = (d ^ (b & (c ^ d))) + words[Step];
    } else if constexpr (round == 1) {
        mixed = (c ^ (d & (b ^ c))) + words[(5 * Step + 1) % kWords];
    } else if constexpr (round == 2) {
        mixed = (b ^ c ^ d) + words[(3 * Step + 5) % kWords];
    } else {
        mixed = (c ^ (b | ~d)) + words[7 * Step % kWords];
    }
    mixed += a + kAddends[Step];
    a = b + ((mixed << shift) | (mixed >> (32 - shift)));
}

template <class V, std::size_t... Steps>
[[gnu::always_inline]] inline void takeSteps(V (&sum)[4], const V (&words)[kWords],
                                             std::index_sequence<Steps...>) {
    (takeStep<Steps>(sum, words), ...);
}

/// Word 0 of all texts, then word 1, and so on, as vectors take them.
template <std::size_t Lanes, class V>
[[gnu::always_inline]] inline void transpose(V (&words)[kWords], const char* const* texts, std::size_t offset) {
    std::uint32_t columns[kWords][Lanes];
    for (std::size_t lane = 0; lane < Lanes; ++lane) {
        std::uint32_t row[kWords];
        std::memcpy(row, texts[lane] + offset, sizeof row);
        for (std::size_t word = 0; word < kWords; ++word) {
            columns[word][lane] = le32toh(row[word]);
        }
    }
    std::memcpy(&words, columns, sizeof words);
}

/// Inlined into the functions below, and so compiled for their processors.
template <std::size_t Lanes>
[[gnu::always_inline]] inline void compress(std::uint32_t* sums, const char* const* texts, std::size_t blocks) {
    using V = typename Vector<Lanes>::Type;
    V sum[4];
    std::memcpy(&sum, sums, sizeof sum);
    for (std::size_t block = 0; block < blocks; ++block) {
        V words[kWords];
        transpose<Lanes>(words, texts, block * 4 * kWords);
        const V before[4] = {sum[0], sum[1], sum[2], sum[3]};
        takeSteps(sum, words, std::make_index_sequence<kSteps>());
        for (std::size_t i = 0; i < 4; ++i) {
            sum[i] += before[i];
        }
    }
    std::memcpy(sums, &sum, sizeof sum);
}

void compressPlainly(std::uint32_t* sums, const char* const* texts, std::size_t blocks) {
    compress<4>(sums, texts, blocks);
}

#ifdef __x86_64__
[[gnu::target("avx2")]] void compressByAvx2(std::uint32_t* sums, const char* const* texts, std::size_t blocks) {
    compress<16>(sums, texts, blocks);
}

[[gnu::target("avx512f")]] void compressByAvx512(std::uint32_t* sums, const char* const* texts,
                                                 std::size_t blocks) {
    compress<16>(sums, texts, blocks);
}
#endif

std::vector<Md5Lanes::Engine> findEngines() {
    std::vector<Md5Lanes::Engine> found;
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx512f")) {
        found.push_back({"avx512", 16, compressByAvx512});
    }
    if (__builtin_cpu_supports("avx2")) {
        found.push_back({"avx2", 16, compressByAvx2});
    }
#endif
    found.push_back({"plain", 4, compressPlainly});
    return found;
}

Md5::HexDigest hexOf(const std::array<std::uint32_t, 4>& sum) noexcept {
    Md5::HexDigest text{};
    for (std::size_t i = 0; i < 16; ++i) {
        const std::uint32_t byte = sum[i / 4] >> (8 * (i % 4));
        text[2 * i] = kLowerCaseHexDigits[byte >> 4 & 15];
        text[2 * i + 1] = kLowerCaseHexDigits[byte & 15];
    }
    return text;
}

}  // namespace

const std::vector<Md5Lanes::Engine>& Md5Lanes::engines() {
    static const std::vector<Engine> all = findEngines();
    return all;
}

void Md5Lanes::finish() noexcept {
    // The longest first, so that the lanes end at about the same time.
    std::sort(jobs_.begin(), jobs_.end(),
              [](const Job& a, const Job& b) { return a.text.size() > b.text.size(); });
    begun_ = 0;
    active_ = 0;
    while (active_ < engine_.lanes && begun_ < jobs_.size()) {
        start(active_++);
    }
    // A block in all lanes takes as long as about two blocks one by one.
    while (active_ > 2) {
        advance();
    }
    finishOneByOne();
    jobs_.clear();
}

/// Gives the lane the next text.
void Md5Lanes::start(std::size_t lane) {
    const Job& job = jobs_[begun_++];
    Lane& started = lanes_[lane];
    started.text = job.text;
    started.digest = job.digest;
    started.position = 0;
    started.end = job.text.size() / kBlockBytes * kBlockBytes;
    started.isPadded = false;
    setSum(lane, kInitial);
    if (started.end == 0) {
        endPart(lane);
    }
}

/// As far as every lane can go without a look at its text.
void Md5Lanes::advance() {
    std::size_t size = lanes_[0].end - lanes_[0].position;
    std::array<const char*, kMostLanes> texts;
    for (std::size_t lane = 0; lane < engine_.lanes; ++lane) {
        // A lane without a text reads the first one's, and nobody looks at its sum.
        const Lane& read = lanes_[lane < active_ ? lane : 0];
        texts[lane] = read.next();
        size = std::min(size, read.end - read.position);
    }
    engine_.compress(sums_.data(), texts.data(), size / kBlockBytes);
    // From the last one: endPart() may put the last lane in the place of one that has ended.
    for (std::size_t lane = active_; lane-- > 0;) {
        lanes_[lane].position += size;
        if (lanes_[lane].position == lanes_[lane].end) {
            endPart(lane);
        }
    }
}

/// The lane has read what it was given: the padding comes next, or another text.
void Md5Lanes::endPart(std::size_t lane) {
    Lane& ended = lanes_[lane];
    if (!ended.isPadded) {
        // What is left of the text, a bit, zeros, and the number of the text's bits: RFC 1321, sections 3.1
        // and 3.2.
        const std::string_view rest = ended.text.substr(ended.end);
        const std::uint64_t bits = htole64(std::uint64_t{ended.text.size()} * 8);
        ended.isPadded = true;
        ended.position = 0;
        ended.end = kBlockBytes * (1 + (rest.size() + sizeof bits) / kBlockBytes);
        std::fill(std::begin(ended.padding), std::end(ended.padding), '\0');
        rest.copy(ended.padding, rest.size());
        ended.padding[rest.size()] = '\x80';
        std::memcpy(ended.padding + ended.end - sizeof bits, &bits, sizeof bits);
        return;
    }
    *ended.digest = hexOf(sumOf(lane));
    if (begun_ < jobs_.size()) {
        start(lane);
        return;
    }
    // The lanes with a text stay together.
    --active_;
    ended = lanes_[active_];
    setSum(lane, sumOf(active_));
}

void Md5Lanes::finishOneByOne() {
    while (active_ > 0) {
        const std::size_t lane = active_ - 1;
        Sum sum = sumOf(lane);
        for (Lane& read = lanes_[lane]; read.position < read.end; read.position += kBlockBytes) {
            MD5Transform(sum.data(), reinterpret_cast<const std::uint8_t*>(read.next()));
        }
        setSum(lane, sum);
        endPart(lane);
    }
}

Md5Lanes::Sum Md5Lanes::sumOf(std::size_t lane) const noexcept {
    Sum sum = {};
    for (std::size_t i = 0; i < sum.size(); ++i) {
        sum[i] = sums_[i * engine_.lanes + lane];
    }
    return sum;
}

void Md5Lanes::setSum(std::size_t lane, const Sum& sum) noexcept {
    for (std::size_t i = 0; i < sum.size(); ++i) {
        sums_[i * engine_.lanes + lane] = sum[i];
    }
}

}  // namespace bex::stream
