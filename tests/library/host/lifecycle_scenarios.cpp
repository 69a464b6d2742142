// Loading, creating, extracting, destroying: one after the other, on one thread.
#include <chrono>
#include <filesystem>
#include <new>
#include <thread>
#include <vector>

#include "library/host/heap_use.h"
#include "library/host/host.h"
#include "support/linked_file.h"

static void load(Host& host) {
    const Library library(host.path);
}

// N templates of the same face from the same context.
static void keepTemplates(Host& host, int count) {
    const Library library(host.path);
    const Context context(library);
    for (int i = 0; i < count; ++i) {
        host.keep(context.extract(scene(0)));
    }
}

static void extract(Host& host) {
    keepTemplates(host, host.number(0));
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

// Opens the library, extracts and closes it again, three times. In the pauses, threads that the
// library may have left behind have time to run.
static void reload(Host& host) {
    for (int i = 0; i < 3; ++i) {
        keepTemplates(host, 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

// Keeps what the heap holds with one context alive, then after 3 and after 10 cycles of create,
// extract and destroy.
static void measureMemory(Host& host) {
    const Library library(host.path);
    library.destroy(nullptr);
    for (int cycle = 1; cycle <= 10; ++cycle) {
        {
            const Context context(library);
            context.extract(scene(cycle));
            if (cycle == 3) {
                host.keep(megabytesInUse());
            }
        }
        if (cycle == 3 || cycle == 10) {
            host.keep(megabytesInUse());
        }
    }
}

// Scores of templates made by hand; needs no context.
static void compare(Host& host) {
    const Library library(host.path);
    FaceTemplate face{};
    face.projection[0] = 3;
    face.projection[1] = 4;
    face.quadraticTerm = 10;
    face.projectionNorm = 5;
    host.keep(library.compare(&face, &face));

    FaceTemplate other{};
    other.projection[0] = 0.7F;
    other.projection[499] = -2;
    other.quadraticTerm = 0.3F;
    other.projectionNorm = 2.1F;
    host.keep(library.compare(&face, &other));
    host.keep(library.compare(&other, &face));

    const FaceTemplate zeros{};
    host.keep(library.compare(&zeros, &zeros));
    host.keep(library.compare(&face, &zeros));
}

const Scenario kLifecycleScenarios[] = {
    {"load", load},
    {"extract", extract},
    {"extract-after-removing", extractAfterRemoving},
    {"extract-with-two-contexts", extractWithTwoContexts},
    {"create-after-failure", createAfterFailure},
    {"reload", reload},
    {"measure-memory", measureMemory},
    {"compare", compare},
    {nullptr, nullptr},
};
