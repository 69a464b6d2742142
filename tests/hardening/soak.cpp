// A host that uses the library without a pause: two contexts on two threads, extractions and scores
// side by side. Every template must have the bits of the first one of its face, every score those
// of the first score, and the memory must stay as it is.
//
//   zomu_soak LIBRARY SECONDS
//
// Its clock starts when both threads have seen every face some times. Prints its figures every
// minute (every second where SECONDS is below 60), and a last line with the verdict. Exit status 1
// where something differed or the memory grew.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "hardening/memory_use.h"
#include "library/host/host.h"
#include "support/program.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kSceneCount = 4;

// What every later result is compared with.
struct First {
    std::vector<Scene> scenes;
    std::vector<FaceTemplate> templates;
    float scores[kSceneCount][kSceneCount];
};

struct Counts {
    std::atomic<long> extractions = 0;
    std::atomic<long> compares = 0;
    std::atomic<long> differences = 0;
};

template <typename Value>
bool differ(const Value& expected, const Value& actual) {
    return std::memcmp(&expected, &actual, sizeof expected) != 0;
}

First firstResults(const Library& library, const Context& context) {
    First first;
    for (std::size_t i = 0; i < kSceneCount; ++i) {
        first.scenes.push_back(scene(static_cast<int>(i)));
        first.templates.push_back(context.extract(first.scenes[i]));
        if (!std::isfinite(first.templates[i].projectionNorm)) {
            throw std::runtime_error("the templates are NaN; is there a model?");
        }
    }
    for (std::size_t i = 0; i < kSceneCount; ++i) {
        for (std::size_t j = 0; j < kSceneCount; ++j) {
            first.scores[i][j] = library.compare(&first.templates[i], &first.templates[j]);
        }
    }
    return first;
}

void work(const Library& library, const Context& context, const First& first,
          const std::atomic<bool>& isOver, Counts& counts, std::atomic<long>& done) {
    for (std::size_t i = 0; !isOver; i = (i + 1) % kSceneCount) {
        const FaceTemplate face = context.extract(first.scenes[i]);
        ++counts.extractions;
        ++done;
        counts.differences += differ(first.templates[i], face) ? 1 : 0;
        for (std::size_t j = 0; j < kSceneCount; ++j) {
            for (const float score : {library.compare(&face, &first.templates[j]),
                                      library.compare(&first.templates[j], &face)}) {
                ++counts.compares;
                counts.differences += differ(first.scores[i][j], score) ? 1 : 0;
            }
        }
    }
}

// Both threads until they are told to stop.
class Workers {
  public:
    Workers(const Library& library, const Context& a, const Context& b, const First& first)
        : one([&, this] { work(library, a, first, isOver, counts, ofOne); }),
          two([&, this] { work(library, b, first, isOver, counts, ofTwo); }) {}

    ~Workers() {
        isOver = true;
        one.join();
        two.join();
    }

    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    // Until both have seen every face some times: threads and heaps have their size then, however
    // busy the machine is.
    void warmUp() const {
        while ((ofOne < kWarmUp || ofTwo < kWarmUp) && counts.differences == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    Counts counts;

  private:
    static constexpr long kWarmUp = 3 * kSceneCount;

    std::atomic<long> ofOne = 0;
    std::atomic<long> ofTwo = 0;
    std::atomic<bool> isOver = false;
    std::thread one;
    std::thread two;
};

bool soak(const std::string& path, long seconds) {
    const Library library(path);
    const Context a(library);
    const Context b(library);
    const First first = firstResults(library, a);

    const long interval = seconds < 60 ? 1 : 60;
    const char* const unit = interval == 60 ? "minute" : "second";
    long baseline = 0, growth = 0, extractions = 0, compares = 0, differences = 0;
    Clock::time_point start;
    {
        Workers workers(library, a, b, first);
        const Counts& counts = workers.counts;
        workers.warmUp();
        start = Clock::now();
        for (long now = interval; now <= seconds && counts.differences == 0; now += interval) {
            std::this_thread::sleep_until(start + std::chrono::seconds(now));
            const long resident = residentKilobytes();
            baseline = baseline == 0 ? resident : baseline;
            growth = std::max(growth, resident - baseline);
            std::printf("%s %ld: %ld extractions, %ld compares, %ld KB resident\n", unit,
                        now / interval, counts.extractions - extractions,
                        counts.compares - compares, resident);
            std::fflush(stdout);
            extractions = counts.extractions;
            compares = counts.compares;
        }
        extractions = counts.extractions;
        compares = counts.compares;
        differences = counts.differences;
    }

    const bool isFlat = growth <= kMostGrowth || !kMemoryIsJudged;
    const bool isGood = isFlat && differences == 0 && extractions > 0;
    std::printf(
        "%s: %.0f s, %ld extractions, %ld compares, %ld differences, memory grew by %ld KB "
        "after the first %s%s\n",
        isGood ? "passed" : "FAILED", std::chrono::duration<double>(Clock::now() - start).count(),
        extractions, compares, differences, growth, unit,
        kMemoryIsJudged ? "" : " (not judged under a sanitizer)");
    return isGood;
}

}  // namespace

int main(int argc, char** argv) {
    return runProgram("zomu_soak", 2, [&] {
        const long seconds = argc == 3 ? std::stol(argv[2]) : 0;
        return seconds < 2              ? wrongUsage("zomu_soak LIBRARY SECONDS (2 or more)")
               : soak(argv[1], seconds) ? 0
                                        : 1;
    });
}
