// The trained numbers that the library reads, for C++17 hosts: which files, where, and what tells one
// model from another. Header only; it needs no other header of ZOMU and not the library.
#ifndef ZOMU_MODEL_HPP
#define ZOMU_MODEL_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

// SHA-256.
using ZomuFingerprint = std::array<std::uint8_t, 32>;

class ZomuSha256 {
  public:
    void update(const void* data, std::size_t size) {
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        length += size;
        while (size > 0) {
            if (held == 0 && size >= kBlock) {
                addBlock(bytes);
                bytes += kBlock;
                size -= kBlock;
                continue;
            }
            const std::size_t taken = size < kBlock - held ? size : kBlock - held;
            std::memcpy(&block[held], bytes, taken);
            held += taken;
            bytes += taken;
            size -= taken;
            if (held == kBlock) {
                addBlock(block.data());
                held = 0;
            }
        }
    }

    // The digest of all that was given; called once, at the end.
    ZomuFingerprint finish() {
        const std::uint64_t bits = 8 * length;
        const std::uint8_t one = 0x80;
        const std::uint8_t zero = 0;
        update(&one, 1);
        while (held != kBlock - sizeof bits) {
            update(&zero, 1);
        }
        for (int shift = 56; shift >= 0; shift -= 8) {
            const auto byte = static_cast<std::uint8_t>(bits >> shift);
            update(&byte, 1);
        }
        ZomuFingerprint digest = {};
        for (std::size_t i = 0; i < digest.size(); ++i) {
            digest[i] = static_cast<std::uint8_t>(state[i / 4] >> (24 - 8 * (i % 4)));
        }
        return digest;
    }

  private:
    static constexpr std::size_t kBlock = 64;

    static std::uint32_t turned(std::uint32_t word, int bits) {
        return word >> bits | word << (32 - bits);
    }

    // The first 32 bits of the fractions of the cube roots of the first 64 primes.
    static constexpr std::uint32_t kRoundConstants[64] = {
        0x428A2F98, 0x71374491, 0xB5C0FBCF, 0xE9B5DBA5, 0x3956C25B, 0x59F111F1, 0x923F82A4,
        0xAB1C5ED5, 0xD807AA98, 0x12835B01, 0x243185BE, 0x550C7DC3, 0x72BE5D74, 0x80DEB1FE,
        0x9BDC06A7, 0xC19BF174, 0xE49B69C1, 0xEFBE4786, 0x0FC19DC6, 0x240CA1CC, 0x2DE92C6F,
        0x4A7484AA, 0x5CB0A9DC, 0x76F988DA, 0x983E5152, 0xA831C66D, 0xB00327C8, 0xBF597FC7,
        0xC6E00BF3, 0xD5A79147, 0x06CA6351, 0x14292967, 0x27B70A85, 0x2E1B2138, 0x4D2C6DFC,
        0x53380D13, 0x650A7354, 0x766A0ABB, 0x81C2C92E, 0x92722C85, 0xA2BFE8A1, 0xA81A664B,
        0xC24B8B70, 0xC76C51A3, 0xD192E819, 0xD6990624, 0xF40E3585, 0x106AA070, 0x19A4C116,
        0x1E376C08, 0x2748774C, 0x34B0BCB5, 0x391C0CB3, 0x4ED8AA4A, 0x5B9CCA4F, 0x682E6FF3,
        0x748F82EE, 0x78A5636F, 0x84C87814, 0x8CC70208, 0x90BEFFFA, 0xA4506CEB, 0xBEF9A3F7,
        0xC67178F2,
    };

    void addBlock(const std::uint8_t* bytes) {
        std::uint32_t w[64];
        for (int t = 0; t < 16; ++t, bytes += 4) {
            w[t] = static_cast<std::uint32_t>(bytes[0]) << 24 |
                   static_cast<std::uint32_t>(bytes[1]) << 16 |
                   static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
        }
        for (int t = 16; t < 64; ++t) {
            const std::uint32_t s0 = turned(w[t - 15], 7) ^ turned(w[t - 15], 18) ^ w[t - 15] >> 3;
            const std::uint32_t s1 = turned(w[t - 2], 17) ^ turned(w[t - 2], 19) ^ w[t - 2] >> 10;
            w[t] = w[t - 16] + s0 + w[t - 7] + s1;
        }
        std::array<std::uint32_t, 8> v = state;
        for (int t = 0; t < 64; ++t) {
            const std::uint32_t s1 = turned(v[4], 6) ^ turned(v[4], 11) ^ turned(v[4], 25);
            const std::uint32_t choice = (v[4] & v[5]) ^ (~v[4] & v[6]);
            const std::uint32_t first = v[7] + s1 + choice + kRoundConstants[t] + w[t];
            const std::uint32_t s0 = turned(v[0], 2) ^ turned(v[0], 13) ^ turned(v[0], 22);
            const std::uint32_t majority = (v[0] & v[1]) ^ (v[0] & v[2]) ^ (v[1] & v[2]);
            v = {first + s0 + majority, v[0], v[1], v[2], v[3] + first, v[4], v[5], v[6]};
        }
        for (std::size_t i = 0; i < state.size(); ++i) {
            state[i] += v[i];
        }
    }

    // Those of the square roots of the first 8 primes.
    std::array<std::uint32_t, 8> state = {0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                                          0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};
    std::array<std::uint8_t, kBlock> block = {};
    std::size_t held = 0;
    std::uint64_t length = 0;
};

struct ZomuModel {
    struct File {
        std::string name;
        std::uint64_t bytes;
    };

    // All 303, in the order in which the library reads them: 25 mean images, the feature mean, the two
    // projections, then the 11 files of each network in turn.
    static std::vector<File> files() {
        std::vector<File> found;
        for (int n = 1; n <= kNetworks; ++n) {
            const std::uint64_t side = isLarge(n) ? 55 : 47;
            found.push_back({between("0-", n, "-0"), 4 + 4 * planes(n) * side * side});
        }
        found.push_back({"6-0", kFloat * 8000});
        found.push_back({"6-1", kFloat * 500 * 8000});
        found.push_back({"6-2", kFloat * 500 * 8000});
        for (int n = 1; n <= kNetworks; ++n) {
            const std::string number = between("-", n, "-");
            const std::uint64_t rows = isLarge(n) ? 1024 : 576;
            const std::uint64_t moreRows = isLarge(n) ? 1200 : 768;
            const std::pair<const char*, std::uint64_t> floats[] = {
                {"1?1", 16 * planes(n) * 16},
                {"1?2", 16},
                {"2?1", 144 * 32},
                {"2?2", 32},
                {"3?1", 288 * 48},
                {"3?2", 48},
                {"4?1", 192 * 64},
                {"4?2", 64},
                {"5?1", rows * 160},
                {"5?2", moreRows * 160},
                {"5?3", 160},
            };
            for (const auto& [name, count] : floats) {
                found.push_back({name[0] + number + name[2], 8 + kFloat * count});
            }
        }
        return found;
    }

    // Where the library looks while it is loaded, as long as the environment is the same.
    static std::filesystem::path folder() {
        constexpr char kName[] = "~zvplugintmp~";
#if defined(_WIN32)
        return std::filesystem::temp_directory_path() / kName;
#else
        for (const char* variable : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
            const char* value = environment(variable);
            if (value != nullptr && value[0] != '\0') {
                return std::filesystem::path(value) / kName;
            }
        }
        return std::filesystem::path("/tmp") / kName;
#endif
    }

    // SHA-256 over the contents of all files, one after another: what `zomu-model fingerprint` prints.
    // Sizes are fixed, so that no byte can move from one file to the next. Throws std::runtime_error,
    // with path and reason, if a file is missing or has another size.
    static ZomuFingerprint fingerprint(const std::filesystem::path& folder) {
        if (!std::filesystem::is_directory(folder)) {
            throw std::runtime_error(folder.string() + ": no such folder");
        }
        ZomuSha256 hash;
        std::vector<char> content;
        for (const File& file : files()) {
            read(folder / file.name, file.bytes, content);
            hash.update(content.data(), content.size());
        }
        return hash.finish();
    }

    // The fingerprint of folder(), computed by the first call; zeros if it is not complete.
    static const ZomuFingerprint& ofThisProcess() {
        static const ZomuFingerprint found = [] {
            try {
                return fingerprint(folder());
            } catch (const std::exception&) {
                return ZomuFingerprint{};
            }
        }();
        return found;
    }

    // 64 digits.
    static std::string hexadecimal(const ZomuFingerprint& fingerprint) {
        std::string text;
        for (const std::uint8_t byte : fingerprint) {
            text += "0123456789abcdef"[byte >> 4];
            text += "0123456789abcdef"[byte & 15];
        }
        return text;
    }

  private:
    static constexpr int kNetworks = 25;
    static constexpr std::uint64_t kFloat = 4;

    // By append, since GCC 12 warns of operator+ for a text and a number (-Wrestrict, at -O3).
    static std::string between(const char* before, int number, const char* after) {
        return std::string(before).append(std::to_string(number)).append(after);
    }

    // Networks that read patches of 55 x 55 pixels, and those that read colours.
    static bool isLarge(int network) {
        return network <= 2;
    }
    static std::uint64_t planes(int network) {
        for (const int coloured : {1, 2, 3, 5, 8, 11, 14, 17, 19, 21, 23, 25}) {
            if (network == coloured) {
                return 3;
            }
        }
        return 1;
    }

    // A set-user-ID host follows no variable of its caller.
    static const char* environment(const char* variable) {
#if defined(__GLIBC__) && defined(_GNU_SOURCE)
        return secure_getenv(variable);
#else
        return std::getenv(variable);
#endif
    }

    // One byte more than expected is asked for, which tells a file that is too long.
    static void read(const std::filesystem::path& path, std::uint64_t size,
                     std::vector<char>& content) {
        std::error_code ignored;
        std::ifstream stream;
        if (std::filesystem::is_regular_file(path, ignored)) {
            stream.open(path, std::ios::binary);
        }
        if (!stream.is_open()) {
            throw std::runtime_error(path.string() + ": cannot be opened");
        }
        content.resize(static_cast<std::size_t>(size) + 1);
        stream.read(content.data(), static_cast<std::streamsize>(content.size()));
        content.resize(static_cast<std::size_t>(stream.gcount()));
        if (content.size() != size) {
            throw std::runtime_error(path.string() + ": does not have the " + std::to_string(size) +
                                     " bytes of its kind");
        }
    }
};

#endif
