#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Target.hpp"

namespace bex::fuzz {

/// Changes an input layer by layer: takes the ar file, the gzip members and the tar archive apart, changes one
/// thing inside and wraps all again with sizes, lengths and checksums mended, so that the change gets past them.
/// Now and then it leaves something unmended, or changes bytes as they stand.
class Mutator {
public:
    /// Changes `size` bytes in place, may make up to `maximum` of them, and tells how many there are.
    using Bytes = std::size_t (*)(std::uint8_t* data, std::size_t size, std::size_t maximum);

    Mutator(Bytes changeBytes, unsigned seed) : changeBytes_(changeBytes), random_(seed) {}

    /// As LLVMFuzzerCustomMutator.
    std::size_t mutate(Shape shape, std::uint8_t* data, std::size_t size, std::size_t maximum);

private:
    bool oneIn(unsigned count) { return random_() % count == 0; }
    std::size_t below(std::size_t count) { return random_() % count; }

    std::string changed(Shape shape, const std::string& bytes);
    std::string bytes(std::string bytes);
    std::string ar(const std::string& bytes);
    std::string gzip(const std::string& bytes, Shape inside);
    std::string tar(const std::string& bytes);
    std::string pax(const std::string& bytes);
    void header(std::string& block);
    void shuffle(std::vector<std::string>& parts);

    Bytes changeBytes_;
    std::minstd_rand random_;
};

}  // namespace bex::fuzz
