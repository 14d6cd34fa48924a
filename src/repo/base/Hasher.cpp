#include "repo/base/Hasher.hpp"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "repo/base/Failure.hpp"
#include "stream/base/Hex.hpp"

namespace bex::repo {

namespace {

struct FreeContext {
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};

/// libcrypto fails for want of memory, or where a policy of the system forbids an algorithm.
void require(bool worked) {
    if (!worked) {
        throw StreamError(ErrorKind::unsupported, "libcrypto can't make a digest that was asked for");
    }
}

/// One running digest, and the member of Digests that it ends in.
struct Running {
    Running(const EVP_MD* algorithmOfIt, std::string Digests::*targetOfIt)
        : context(EVP_MD_CTX_new()), algorithm(algorithmOfIt), target(targetOfIt) {
        require(context != nullptr);
        begin();
    }

    void begin() { require(EVP_DigestInit_ex(context.get(), algorithm, nullptr) == 1); }

    std::string finish() {
        std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
        unsigned size = 0;
        require(EVP_DigestFinal_ex(context.get(), bytes.data(), &size) == 1);
        // Ready for the next text: a scan uses one hasher for thousands of files.
        begin();
        return stream::hexOf(bytes.data(), size);
    }

    std::unique_ptr<EVP_MD_CTX, FreeContext> context;
    const EVP_MD* algorithm;
    std::string Digests::*target;
};

/// So much at a time is in the processor's second cache while every digest takes it.
constexpr std::size_t kSliceBytes = std::size_t{32} << 10;

}  // namespace

struct Hasher::State {
    std::vector<Running> digests;
};

Hasher::Hasher(DigestChoice choice) : state_(std::make_unique<State>()) {
    // SHA-256 is always made; records are compared by it.
    state_->digests.emplace_back(EVP_sha256(), &Digests::sha256);
    if (choice.md5) {
        state_->digests.emplace_back(EVP_md5(), &Digests::md5);
    }
    if (choice.sha1) {
        state_->digests.emplace_back(EVP_sha1(), &Digests::sha1);
    }
    if (choice.sha512) {
        state_->digests.emplace_back(EVP_sha512(), &Digests::sha512);
    }
}

Hasher::~Hasher() = default;
Hasher::Hasher(Hasher&&) noexcept = default;
Hasher& Hasher::operator=(Hasher&&) noexcept = default;

void Hasher::update(std::string_view bytes) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(kSliceBytes, bytes.size()))) {
        const std::string_view slice = bytes.substr(0, kSliceBytes);
        for (const Running& digest : state_->digests) {
            require(EVP_DigestUpdate(digest.context.get(), slice.data(), slice.size()) == 1);
        }
    }
}

Digests Hasher::finish() {
    Digests digests;
    for (Running& digest : state_->digests) {
        digests.*digest.target = digest.finish();
    }
    return digests;
}

std::string sha256Of(std::string_view bytes) {
    Hasher hasher;
    hasher.update(bytes);
    return hasher.finish().sha256;
}

}  // namespace bex::repo
