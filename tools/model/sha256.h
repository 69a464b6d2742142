// SHA-256, by the cryptographic library of the system.
#ifndef ZOMU_TOOLS_MODEL_SHA256_H
#define ZOMU_TOOLS_MODEL_SHA256_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

using Sha256Digest = std::array<std::uint8_t, 32>;

class Sha256 {
  public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void update(const void* data, std::size_t size);

    // The digest of all that was given; called once, at the end.
    Sha256Digest finish();

  private:
    struct State;
    std::unique_ptr<State> state;
};

// 64 hexadecimal digits.
std::string hexadecimal(const Sha256Digest& digest);

#endif
