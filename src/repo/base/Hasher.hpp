#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "bex/repo/PackageRecord.hpp"

namespace bex::repo {

/// Sums bytes into all chosen digests at once, with the processor's SHA instructions where it has them (OpenSSL's
/// libcrypto). Can be used for one file after the other; used by one thread at a time.
class Hasher {
public:
    explicit Hasher(DigestChoice choice = {});
    ~Hasher();
    Hasher(Hasher&&) noexcept;
    Hasher& operator=(Hasher&&) noexcept;

    void update(std::string_view bytes);

    /// The digests of what came since the last call.
    Digests finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// The SHA-256 of a text in memory.
std::string sha256Of(std::string_view bytes);

}  // namespace bex::repo
