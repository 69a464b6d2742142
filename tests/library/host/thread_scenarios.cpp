// Several threads of the host in the library at once.
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "library/host/host.h"
#include "support/start_line.h"

static constexpr int kSceneCount = 4;

// Two contexts on two threads, which meet the faces in opposite order. Keeps the templates that one
// context gave before, alone; then those of either thread, all in the order of the faces.
static void extractOnTwoThreads(Host& host) {
    const Library library(host.path);
    const Context a(library);
    const Context b(library);
    FaceTemplate together[2 * kSceneCount];
    for (int number = 0; number < kSceneCount; ++number) {
        host.keep(a.extract(scene(number)));
    }
    StartLine start(2);
    std::thread forwards([&] {
        start.arriveAndWait();
        for (int number = 0; number < kSceneCount; ++number) {
            together[number] = a.extract(scene(number));
        }
    });
    start.arriveAndWait();
    for (int number = kSceneCount - 1; number >= 0; --number) {
        together[kSceneCount + number] = b.extract(scene(number));
    }
    forwards.join();
    for (const FaceTemplate& face : together) {
        host.keep(face);
    }
}

// One thread extracts until another has built two contexts. Keeps the template from before,
// that of each new context, and the number of templates that differed meanwhile.
static void createBesideExtraction(Host& host) {
    const Library library(host.path);
    const Context old(library);
    const Scene face = scene(0);
    const FaceTemplate before = old.extract(face);

    std::atomic<bool> isBuilt = false;
    std::atomic<int> extractions = 0;
    int differences = 0;
    std::thread extracting([&] {
        while (!isBuilt || extractions < 2) {
            const FaceTemplate meanwhile = old.extract(face);
            differences += std::memcmp(&before, &meanwhile, sizeof before) != 0 ? 1 : 0;
            ++extractions;
        }
    });
    while (extractions == 0) {
        std::this_thread::yield();
    }
    const Context first(library);
    const Context second(library);
    isBuilt = true;
    extracting.join();
    host.keep(before);
    host.keep(first.extract(face));
    host.keep(second.extract(face));
    host.keep(static_cast<float>(differences));
}

// N threads create at the same moment; then each context gives its template, one after the other.
static void createOnThreads(Host& host) {
    const Library library(host.path);
    const int count = host.number(0);
    std::vector<std::unique_ptr<Context>> contexts(static_cast<std::size_t>(count));
    StartLine start(count);
    std::vector<std::thread> threads;
    for (auto& context : contexts) {
        threads.emplace_back([&] {
            start.arriveAndWait();
            context = std::make_unique<Context>(library);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& context : contexts) {
        host.keep(context->extract(scene(0)));
    }
}

const Scenario kThreadScenarios[] = {
    {"extract-on-two-threads", extractOnTwoThreads},
    {"create-beside-extraction", createBesideExtraction},
    {"create-on-threads", createOnThreads},
    {nullptr, nullptr},
};
