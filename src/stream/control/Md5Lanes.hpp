#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "stream/control/Md5.hpp"

namespace bex::stream {

/// Sums several texts side by side, each in a lane of the processor's vector registers: the steps of one sum
/// depend on each other, those of different sums do not. Many small texts take between half (four lanes)
/// and a seventh (16) of the time that they take one by one.
///
/// Used by one thread at a time. Memory is kept between calls.
class Md5Lanes {
public:
    /// A way to compute, for processors that have the instructions.
    struct Engine {
        const char* name;
        std::size_t lanes;
        /// Takes so many blocks of 64 bytes from each text into the sums, of which `sums` has the words A of all
        /// lanes, then the words B, C and D.
        void (*compress)(std::uint32_t* sums, const char* const* texts, std::size_t blocks);
    };

    /// Those that this processor can use, the fastest first.
    static const std::vector<Engine>& engines();

    explicit Md5Lanes(const Engine& engine = engines().front()) : engine_(engine) {}

    /// Room for so many texts: add() then allocates nothing and cannot fail.
    void reserve(std::size_t texts) { jobs_.reserve(texts); }

    /// Puts the sum of `text` into `digest` at the next finish(), until when both must stay where they are.
    void add(std::string_view text, Md5::HexDigest& digest) { jobs_.push_back({text, &digest}); }

    /// Sums all that were added. Throws nothing.
    void finish() noexcept;

private:
    struct Job {
        std::string_view text;
        Md5::HexDigest* digest;
    };

    static constexpr std::size_t kMostLanes = 16;
    static constexpr std::size_t kBlockBytes = 64;

    /// The text of a lane: its whole blocks first, then one or two with the padding. Can be copied.
    struct Lane {
        std::string_view text;
        Md5::HexDigest* digest = nullptr;
        std::size_t position = 0;
        std::size_t end = 0;
        bool isPadded = false;
        char padding[2 * kBlockBytes] = {};

        const char* next() const noexcept { return (isPadded ? padding : text.data()) + position; }
    };
    using Sum = std::array<std::uint32_t, 4>;

    void start(std::size_t lane);
    void advance();
    void endPart(std::size_t lane);
    void finishOneByOne();
    Sum sumOf(std::size_t lane) const noexcept;
    void setSum(std::size_t lane, const Sum& sum) noexcept;

    const Engine& engine_;
    std::vector<Job> jobs_;
    std::size_t begun_ = 0;   // of jobs_
    std::size_t active_ = 0;  // the first lanes have a text
    std::array<Lane, kMostLanes> lanes_;
    std::array<std::uint32_t, 4 * kMostLanes> sums_ = {};
};

}  // namespace bex::stream
