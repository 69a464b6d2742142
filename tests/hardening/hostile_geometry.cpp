// Sweeps the patch stage over random records and pictures that no face could give, and compares
// every result with the reference. Each face comes from a number of its own, its seed.
//
//   zomu_hostile_geometry [--records N] [--seed FIRST] [--canvases K]
//
// Every K-th face is compared with the reference's whole canvases as well; 0: none. Prints its
// progress and a last line with the counts. Exit status 1 where a face is wrong; the line that says
// so holds the words that repeat it.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "hardening/hostile_sweep.h"

// There where a sanitizer is part of the program.
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

static volatile std::uint64_t g_seed = 0;

// Written by hand: it runs in a signal handler.
static void nameTheSeed() {
    char text[96] = "\nFailed: a crash; repeat with --records 1 --seed ";
    std::size_t length = std::strlen(text);
    char digits[24];
    std::size_t count = 0;
    std::uint64_t number = g_seed;
    do {
        digits[count++] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    while (count > 0) {
        text[length++] = digits[--count];
    }
    text[length++] = '\n';
    if (write(STDERR_FILENO, text, length) < 0) {
        _exit(3);
    }
}

static void onCrash(int signal) {
    nameTheSeed();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

static void watchForCrashes() {
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        std::signal(signal, onCrash);
    }
    if (__sanitizer_set_death_callback != nullptr) {
        __sanitizer_set_death_callback(nameTheSeed);
    }
}

static void printCounts(const HostileSweep::Counts& counts, double seconds, const char* end) {
    std::printf(
        "%llu records, %llu refused, %llu compared, %llu of them with whole canvases, "
        "%.0f s%s\n",
        static_cast<unsigned long long>(counts.records),
        static_cast<unsigned long long>(counts.refused),
        static_cast<unsigned long long>(counts.compared),
        static_cast<unsigned long long>(counts.comparedWithCanvases), seconds, end);
    std::fflush(stdout);
}

struct Options {
    std::uint64_t records = 4000;
    std::uint64_t seed = 1;
    std::uint64_t canvases = 50;
};

static bool readOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; i += 2) {
        const std::string name = argv[i];
        std::uint64_t* value = name == "--records"    ? &options.records
                               : name == "--seed"     ? &options.seed
                               : name == "--canvases" ? &options.canvases
                                                      : nullptr;
        if (value == nullptr || i + 1 == argc) {
            return false;
        }
        *value = std::stoull(argv[i + 1]);
    }
    return true;
}

static bool sweep(const Options& options) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const auto seconds = [start] {
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    HostileSweep faces;
    const std::uint64_t step = std::max<std::uint64_t>(options.records / 20, 1);
    for (std::uint64_t i = 0; i < options.records; ++i) {
        g_seed = options.seed + i;
        const bool withCanvases = options.canvases != 0 && i % options.canvases == 0;
        const std::string difference = faces.run(g_seed, withCanvases);
        if (!difference.empty()) {
            std::printf("Failed: %s; repeat with --records 1 --seed %llu\n", difference.c_str(),
                        static_cast<unsigned long long>(g_seed));
            return false;
        }
        if (i % step == step - 1 && i + 1 < options.records) {
            printCounts(faces.counts(), seconds(), " ...");
        }
    }
    printCounts(faces.counts(), seconds(), ": no read outside, same bits");
    return true;
}

int main(int argc, char** argv) {
    try {
        Options options;
        if (!readOptions(argc, argv, options)) {
            std::fputs("usage: zomu_hostile_geometry [--records N] [--seed FIRST] [--canvases K]\n",
                       stderr);
            return 2;
        }
        watchForCrashes();
        return sweep(options) ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zomu_hostile_geometry: %s\n", failure.what());
        return 2;
    }
}
