// The same again and again, each time in a child of a process that has loaded the library.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <thread>

#include "hardening/memory_use.h"
#include "library/host/children.h"
#include "library/host/host.h"
#include "library/host/limits.h"

struct Rounds {
    const Library& guest;
    const Context& context;  // made before the fork, and not used
    const Scene face = scene(0);
    FaceTemplate expected = {};

    bool givesExpected(const Context& used) const { return areSame(expected, used.extract(face)); }
};

// A little later each time. In the end another thread extracts or has done so.
static int exitBesideExtraction(const Rounds& rounds, int round) {
    static std::atomic<bool> isRunning = false;
    std::thread([&rounds] {
        isRunning = true;
        for (;;) {
            rounds.context.extract(rounds.face);
        }
    }).detach();
    while (!isRunning) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::microseconds(100 * round));
    std::exit(0);
}

// Of a process in which another thread creates at that moment.
static int createAndExtract(const Rounds& rounds, int) {
    return rounds.givesExpected(Context(rounds.guest)) ? 0 : 1;
}

// With 0.4 MB of addresses more in each round, a create and an extraction or the first extraction of the
// context that is there. Without the limit that one works.
static int workInLittleMemory(const Rounds& rounds, int round) {
    rlimit former;
    getrlimit(RLIMIT_AS, &former);
    setLimit(RLIMIT_AS, static_cast<rlim_t>(addressKilobytes() + 400L * round) * 1024);
    bool isGood = true;
    try {
        isGood = round % 2 == 0 ? rounds.givesExpected(Context(rounds.guest))
                                : rounds.givesExpected(rounds.context);
    } catch (const std::bad_alloc&) {
    }
    setLimit(RLIMIT_AS, former.rlim_cur);
    return isGood && rounds.givesExpected(rounds.context) ? 0 : 1;
}

// With up to three threads, of the team's four.
static int workWithFewThreads(const Rounds& rounds, int round) {
    if (geteuid() == 0 && setuid(kNobody) != 0) {
        return 2;
    }
    setLimit(RLIMIT_NPROC, static_cast<rlim_t>(1 + round % 4));
    return rounds.givesExpected(rounds.context) ? 0 : 1;
}

// KIND, N. Keeps how many of N rounds went wrong.
static void runRounds(Host& host) {
    const std::map<std::string, int (*)(const Rounds&, int)> kinds = {
        {"exit-beside-extraction", exitBesideExtraction},
        {"fork-beside-create", createAndExtract},
        {"little-memory", workInLittleMemory},
        {"few-threads", workWithFewThreads},
    };
    const auto run = kinds.at(host.arguments.at(0));
    const Library library(host.path);
    const Context context(library);
    Rounds rounds = {.guest = library, .context = context};
    rounds.expected = Context(library).extract(rounds.face);

    int failures = 0;
    for (int round = 0; round < host.number(1); ++round) {
        std::thread beside;
        if (run == createAndExtract) {  // a create takes some milliseconds
            beside = std::thread([&] { const Context other(library); });
            std::this_thread::sleep_for(std::chrono::microseconds(20 * round));
        }
        failures += statusOfChild([&] { return run(rounds, round); }) == 0 ? 0 : 1;
        if (beside.joinable()) {
            beside.join();
        }
    }
    host.keep(static_cast<float>(failures));
}

const Scenario kRoundScenarios[] = {
    {"rounds", runRounds},
    {nullptr, nullptr},
};
