// Forks, exits, and a library that is closed early or again and again.
#include <sys/auxv.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "hardening/memory_use.h"
#include "library/host/children.h"
#include "library/host/host.h"
#include "support/environment.h"
#include "support/threads.h"

// N: the threads that an extraction starts. Keeps the template from before the fork, a child's status (0: it had the same bits, its team was there,
// and it could destroy the context), and the parent's template afterwards.
static void forkAfterUse(Host& host) {
    const Library library(host.path);
    auto context = std::make_unique<Context>(library);
    const Scene face = scene(0);
    const FaceTemplate before = context->extract(face);
    host.keep(before);
    host.keep(static_cast<float>(statusOfChild([&] {
        const auto alone = threadsOfThisProcess();
        if (!areSame(before, context->extract(face))) {
            return 1;
        }
        const auto others = threadsOfThisProcess() - alone - host.number(0);
        if (others < 0) {  // more than none are the thread sanitizer's
            return 2;
        }
        context.reset();
        return threadsThatStay(alone + others) == alone + others ? 0 : 3;
    })));
    host.keep(static_cast<float>(statusOfChild([&] {
        context.reset();  // unused in the child
        return 0;
    })));
    host.keep(context->extract(face));
}

// Forks N times while another thread creates, extracts and destroys. Keeps how many children didn't give
// the same template with a context of their own.
static void forkBesideWork(Host& host) {
    const Library library(host.path);
    const Scene face = scene(0);
    const FaceTemplate first = Context(library).extract(face);
    std::atomic<bool> isOver = false;
    std::thread worker([&] {
        while (!isOver) {
            const Context context(library);
            context.extract(face);
            context.extract(face);
        }
    });
    int failures = 0;
    for (int i = 0; i < host.number(0); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        failures += statusOfChild(
                        [&] { return areSame(first, Context(library).extract(face)) ? 0 : 1; }) == 0
                        ? 0
                        : 1;
    }
    isOver = true;
    worker.join();
    host.keep(static_cast<float>(failures));
}

static bool isInMemory(const std::string& path) {
    const std::string file = std::filesystem::canonical(path).string();
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        if (line.ends_with(file)) {
            return true;
        }
    }
    return false;
}

// Opens, extracts and closes N times. Keeps how often the library stayed in memory, the threads in the
// end, and the KB that came with the second half of the rounds; then the last template.
static void openAgain(Host& host) {
    FaceTemplate result;
    int left = 0;
    long memory = 0;
    const int rounds = host.number(0);
    for (int i = 0; i < rounds; ++i) {
        {
            const Library library(host.path);
            result = Context(library).extract(scene(0));
        }
        left += isInMemory(host.path) ? 1 : 0;
        memory = i == rounds / 2 ? residentKilobytes() : memory;
    }
    host.keep(static_cast<float>(left));
    host.keep(static_cast<float>(threadsThatStay(1)));
    host.keep(static_cast<float>(residentKilobytes() - memory));
    host.keep(result);
}

// A template from each of the named temporary directories, the library opened anew for each.
static void extractFromEach(Host& host) {
    for (const std::string& directory : host.arguments) {
        setVariable(kTemporaryVariable, directory);
        const Library library(host.path);
        host.keep(Context(library).extract(scene(0)));
    }
}

// A context outlives the library as the host sees it. Keeps a template from before and one from after,
// and whether the library is gone with the context.
static void closeWhileUsed(Host& host) {
    const Scene face = scene(0);
    const Picture& picture = face.picture;
    FaceTemplate result;
    auto library = std::make_unique<Library>(host.path);
    const auto extractOne = library->extract;
    const auto destroy = library->destroy;
    ZomuContext* const context = library->create();
    for (int i = 0; i < 2; ++i) {
        extractOne(context, picture.topRow(), picture.width, picture.height, picture.stride,
                   &face.record, &result);
        host.keep(result);
        library.reset();
    }
    destroy(context);
    host.keep(isInMemory(host.path) ? 0.0F : 1.0F);
}

// exit(7) while a context lives, and N other threads extract.
static void exitWhileUsed(Host& host) {
    // Static: in use until the end, not lost.
    static const auto* const library = new Library(host.path);
    static const Context* const context = new Context(*library);
    context->extract(scene(0));
    std::atomic<int> extractions = 0;
    for (int i = 0; i < host.number(0); ++i) {
        std::thread([&] {
            const Context* const own = new Context(*library);
            for (;;) {
                own->extract(scene(0));
                ++extractions;
            }
        }).detach();
    }
    while (extractions < 3 * host.number(0)) {
        std::this_thread::yield();
    }
    std::exit(7);
}

// As a program that has other rights than its caller, whom it must not obey.
static void loadWithOtherRights(Host& host) {
    if (getauxval(AT_SECURE) == 0) {
        throw std::runtime_error("no other rights");
    }
    const Library library(host.path);
}

const Scenario kProcessScenarios[] = {
    {"fork-after-use", forkAfterUse},
    {"fork-beside-work", forkBesideWork},
    {"open-again", openAgain},
    {"extract-from-each", extractFromEach},
    {"close-while-used", closeWhileUsed},
    {"exit-while-used", exitWhileUsed},
    {"load-with-other-rights", loadWithOtherRights},
    {nullptr, nullptr},
};
