// Loading, creating, extracting, destroying: one after the other, on one thread, which may have a
// floating-point mode of its own.
#include <cfenv>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <new>
#include <thread>
#include <vector>

#include "library/host/host.h"
#include "support/environment.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

static void load(Host& host) {
    const Library library(host.path);
}

// As many templates of the same face from the same context.
static void extract(Host& host) {
    const Library library(host.path);
    const Context context(library);
    for (int i = 0; i < host.number(0); ++i) {
        host.keep(context.extract(scene(0)));
    }
}

// Removes the named files after the load and before the create.
static void extractAfterRemoving(Host& host) {
    const Library library(host.path);
    for (const std::string& path : host.arguments) {
        std::filesystem::remove_all(path);
    }
    const Context context(library);
    host.keep(context.extract(scene(0)));
}

// A second context beside the first, and the first once more. Other faces come in between.
static void extractWithTwoContexts(Host& host) {
    const Library library(host.path);
    const Context first(library);
    host.keep(first.extract(scene(0)));
    const Context second(library);
    second.extract(scene(1));
    host.keep(second.extract(scene(0)));
    first.extract(scene(2));
    host.keep(first.extract(scene(0)));
}

// Keeps 1 where ZomuCreate throws for want of memory, then puts a good file in place of the bad
// one.
static void createAfterFailure(Host& host) {
    const Library library(host.path);
    try {
        const Context context(library);
        host.keep(0.0F);
    } catch (const std::bad_alloc&) {
        host.keep(1.0F);
    }
    std::filesystem::remove(host.arguments.at(0));
    linkFile(host.arguments.at(1), host.arguments.at(0));
    const Context context(library);
    host.keep(context.extract(scene(0)));
}

// Opens the library, extracts as often as asked for and closes it again, three times. In the pauses,
// threads that the library may have left behind have time to run.
static void reload(Host& host) {
    for (int i = 0; i < 3; ++i) {
        extract(host);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

// The register that holds the mode, as far as it is known here.
static unsigned currentMode() {
#if defined(__SSE2__)
    return _mm_getcsr();
#elif defined(__aarch64__)
    std::uint64_t mode = 0;
    __asm__ volatile("mrs %0, fpcr" : "=r"(mode));
    return static_cast<unsigned>(mode);
#else
    return static_cast<unsigned>(std::fegetround());
#endif
}

// Rounds upwards and takes subnormal numbers for zero, in results and in operands.
static void enterHostMode() {
    std::fesetround(FE_UPWARD);
#if defined(__SSE2__)
    _mm_setcsr(_mm_getcsr() | _MM_FLUSH_ZERO_ON | 0x40U);
#elif defined(__aarch64__)
    constexpr std::uint64_t kFlushToZero = 1U << 24U;
    __asm__ volatile("msr fpcr, %0" : : "r"(currentMode() | kFlushToZero));
#endif
}

// In the host's mode first, so that the team's threads start with it: two templates and their score.
// Then all of it in the usual mode. Last, whether the host's mode was left behind.
static void extractInHostMode(Host& host) {
    const Library library(host.path);
    const Scene places[] = {scene(0), scene(1)};  // computed as in every other test
    const auto work = [&] {
        const Context context(library);
        const FaceTemplate first = context.extract(places[0]);
        const FaceTemplate second = context.extract(places[1]);
        host.keep(first);
        host.keep(second);
        host.keep(library.compare(&first, &second));
    };
    enterHostMode();
    const unsigned before = currentMode();
    work();
    const bool isLeft = currentMode() == before;
    std::fesetenv(FE_DFL_ENV);
    work();
    host.keep(isLeft ? 1.0F : 0.0F);
}

const Scenario kLifecycleScenarios[] = {
    {"load", load},
    {"extract", extract},
    {"extract-after-removing", extractAfterRemoving},
    {"extract-with-two-contexts", extractWithTwoContexts},
    {"create-after-failure", createAfterFailure},
    {"reload", reload},
    {"extract-in-host-mode", extractInHostMode},
    {nullptr, nullptr},
};
