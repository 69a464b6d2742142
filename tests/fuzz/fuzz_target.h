// What all fuzz targets share: the call that libFuzzer makes, and how a target reports a wrong
// result.
#ifndef ZOMU_TESTS_FUZZ_FUZZ_TARGET_H
#define ZOMU_TESTS_FUZZ_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Runs the code under test on one input. Returns 0; everything wrong ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Ends the process where a result is not what it has to be, in every kind of build.
#define REQUIRE(condition) ((condition) ? void() : wrongResult(#condition, __FILE__, __LINE__))

[[noreturn]] inline void wrongResult(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: wrong result: %s\n", file, line, condition);
    std::abort();
}

#if defined(ZOMU_FUZZ_REPLAY)
constexpr bool kIsReplay = true;
#else
constexpr bool kIsReplay = false;
#endif

// True for one input in `n`, whatever its neighbours are, and for all stored ones: for comparisons
// that cost much more than the code under test.
inline bool isChosen(const std::uint8_t* data, std::size_t size, std::uint32_t n) {
    std::uint32_t hash = 2166136261U;
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ data[i]) * 16777619U;
    }
    return kIsReplay || (hash >> 7U) % n == 0;
}

#endif
