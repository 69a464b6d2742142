// Several threads of the host in the library at once.
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "library/host/host.h"
#include "support/start_line.h"

// One thread extracts while another builds two contexts and extracts another face with them. Keeps
// the template from before, that of each new context, and how many differed from before meanwhile.
static void workBesideExtraction(Host& host) {
    const Library library(host.path);
    const Context old(library);
    const Scene face = scene(1);
    const FaceTemplate before = old.extract(face);
    host.keep(before);

    std::atomic<bool> isOver = false;
    std::atomic<int> extractions = 0;
    int differences = 0;
    std::thread extracting([&] {
        while (!isOver || extractions < 2) {
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
    for (int round = 0; round < 4; ++round) {
        host.keep(first.extract(scene(0)));
        host.keep(second.extract(scene(0)));
    }
    isOver = true;
    extracting.join();
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
    {"work-beside-extraction", workBesideExtraction},
    {"create-on-threads", createOnThreads},
    {nullptr, nullptr},
};
