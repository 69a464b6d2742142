// Loading, creating, extracting, destroying: one after the other, on one thread.
#include <chrono>
#include <filesystem>
#include <new>
#include <thread>
#include <vector>

#include "library/host/host.h"
#include "support/environment.h"

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

const Scenario kLifecycleScenarios[] = {
    {"load", load},
    {"extract", extract},
    {"extract-after-removing", extractAfterRemoving},
    {"extract-with-two-contexts", extractWithTwoContexts},
    {"create-after-failure", createAfterFailure},
    {"reload", reload},
    {nullptr, nullptr},
};
