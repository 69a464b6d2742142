#include "model/sha256.h"

#include <stdexcept>

#if defined(_WIN32)

#include <windows.h>
// After it.
#include <bcrypt.h>

struct Sha256::State {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;
};

static void demand(bool good) {
    if (!good) {
        throw std::runtime_error("the system cannot compute SHA-256");
    }
}

Sha256::Sha256() : state(std::make_unique<State>()) {
    demand(BCryptOpenAlgorithmProvider(&state->algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) >=
           0);
    demand(BCryptCreateHash(state->algorithm, &state->hash, nullptr, 0, nullptr, 0, 0) >= 0);
}

Sha256::~Sha256() {
    BCryptDestroyHash(state->hash);
    BCryptCloseAlgorithmProvider(state->algorithm, 0);
}

void Sha256::update(const void* data, std::size_t size) {
    auto* bytes = static_cast<PUCHAR>(const_cast<void*>(data));
    demand(BCryptHashData(state->hash, bytes, static_cast<ULONG>(size), 0) >= 0);
}

Sha256Digest Sha256::finish() {
    Sha256Digest digest{};
    demand(BCryptFinishHash(state->hash, digest.data(), static_cast<ULONG>(digest.size()), 0) >= 0);
    return digest;
}

#else

#include <openssl/evp.h>

struct Sha256::State {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(),
                                                                    EVP_MD_CTX_free};
};

static void demand(bool good) {
    if (!good) {
        throw std::runtime_error("the system cannot compute SHA-256");
    }
}

Sha256::Sha256() : state(std::make_unique<State>()) {
    demand(EVP_DigestInit_ex(state->context.get(), EVP_sha256(), nullptr) == 1);
}

Sha256::~Sha256() = default;

void Sha256::update(const void* data, std::size_t size) {
    demand(EVP_DigestUpdate(state->context.get(), data, size) == 1);
}

Sha256Digest Sha256::finish() {
    Sha256Digest digest{};
    demand(EVP_DigestFinal_ex(state->context.get(), digest.data(), nullptr) == 1);
    return digest;
}

#endif

std::string hexadecimal(const Sha256Digest& digest) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : digest) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}
