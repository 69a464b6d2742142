// Sweeps the patch stage over random records and pictures that no face could give, and compares
// every result with the reference. Each face comes from a number of its own, its seed.
//
//   zomu_hostile_geometry [--records N] [--seed FIRST]
//
// Prints its progress and a last line with the counts. Exit status 1 where a face is wrong; the
// line that says so holds the words that repeat it.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "support/face_generator.h"
#include "support/patch_stage_check.h"

// There where a sanitizer is part of the program.
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

// Of the present face: what a crash has to print, made before it happens.
static char g_lastWords[96];

static void nameTheSeed() {
    if (write(STDERR_FILENO, g_lastWords, std::strlen(g_lastWords)) < 0) {
        _exit(3);
    }
}

static void watchForCrashes() {
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        std::signal(signal, [](int raised) {
            nameTheSeed();
            std::signal(raised, SIG_DFL);
            std::raise(raised);
        });
    }
    if (__sanitizer_set_death_callback != nullptr) {
        __sanitizer_set_death_callback(nameTheSeed);
    }
}

static bool sweep(std::uint64_t records, std::uint64_t firstSeed) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    FaceGenerator faces;
    PatchStage stage;
    const auto printCounts = [&](const char* end) {
        std::printf("%d records, %d refused, %d compared, %.0f s%s\n",
                    stage.refused + stage.compared, stage.refused, stage.compared,
                    std::chrono::duration<double>(Clock::now() - start).count(), end);
        std::fflush(stdout);
    };
    const std::uint64_t step = std::max<std::uint64_t>(records / 20, 1);
    for (std::uint64_t i = 0; i < records; ++i) {
        const std::string repeat =
            "; repeat with --records 1 --seed " + std::to_string(firstSeed + i) + "\n";
        std::snprintf(g_lastWords, sizeof g_lastWords, "\nFailed: a crash%s", repeat.c_str());
        Random random(firstSeed + i);
        const std::string difference = stage.check(faces.make(random));
        if (!difference.empty()) {
            std::printf("Failed: %s%s", difference.c_str(), repeat.c_str());
            return false;
        }
        if (i % step == step - 1 && i + 1 < records) {
            printCounts(" ...");
        }
    }
    printCounts(": no read outside, same bits");
    return true;
}

int main(int argc, char** argv) {
    try {
        std::uint64_t records = 4000;
        std::uint64_t seed = 1;
        for (int i = 1; i < argc; i += 2) {
            const std::string name = argv[i];
            if ((name != "--records" && name != "--seed") || i + 1 == argc) {
                std::fputs("usage: zomu_hostile_geometry [--records N] [--seed FIRST]\n", stderr);
                return 2;
            }
            (name == "--seed" ? seed : records) = std::stoull(argv[i + 1]);
        }
        watchForCrashes();
        return sweep(records, seed) ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zomu_hostile_geometry: %s\n", failure.what());
        return 2;
    }
}
