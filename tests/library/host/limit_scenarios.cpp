// Where memory, threads or stacks are scarce, and what the team's threads leave to the host.
#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "hardening/memory_use.h"
#include "library/host/host.h"
#include "library/host/limits.h"
#include "support/threads.h"

// N KB of addresses more than the process has. Keeps how far it came: 0 if the library could not be
// opened, 1 if there was no memory for a context, 2 if none for an extraction, 3 with the template. And
// where an extraction had none, the template that the same context gives without the limit.
static void extractInLimitedSpace(Host& host) {
    const Alarm alarm(20);
    const Scene face = scene(0);
    rlimit former;
    getrlimit(RLIMIT_AS, &former);
    setLimit(RLIMIT_AS, static_cast<rlim_t>(addressKilobytes() + host.number(0)) * 1024);
    std::unique_ptr<Library> library;
    std::unique_ptr<Context> context;
    float step = 0;
    FaceTemplate result;
    try {
        library = std::make_unique<Library>(host.path);
        step = 1;
        context = std::make_unique<Context>(*library);
        step = 2;
        result = context->extract(face);
        step = 3;
    } catch (const std::bad_alloc&) {
    } catch (const std::runtime_error&) {  // not opened
    }
    setLimit(RLIMIT_AS, former.rlim_cur);
    host.keep(step);
    if (step == 2) {
        result = context->extract(face);
    }
    if (step >= 2) {
        host.keep(result);
    }
}

// As a user who may have N threads, of which the user's other processes have some. Keeps how many the
// extraction has started, and the template.
static void extractWithFewThreads(Host& host) {
    const bool isRoot = geteuid() == 0;  // for whom there is no limit
    const Library library(host.path);
    const Context context(library);
    const auto before = threadsOfThisProcess();
    if (isRoot && setresuid(kNobody, kNobody, 0) != 0) {
        throw std::runtime_error("cannot become another user");
    }
    setLimit(RLIMIT_NPROC, static_cast<rlim_t>(host.number(0)));
    const FaceTemplate face = context.extract(scene(0));
    host.keep(static_cast<float>(threadsOfThisProcess() - before));
    host.keep(face);
    if (isRoot && setresuid(0, 0, 0) != 0) {  // whose the file of the results is
        throw std::runtime_error("cannot become root again");
    }
}

struct SmallThread {
    Host* host;
    const Library* opened;
    Scene face;
    float score = 0;
};

static void* workInSmallStack(void* argument) {
    SmallThread& caller = *static_cast<SmallThread*>(argument);
    const Context context(*caller.opened);
    const FaceTemplate face = context.extract(caller.face);
    caller.score = caller.opened->compare(&face, &face);
    caller.host->keep(face);
    return nullptr;
}

// On a thread with a stack of N bytes, which also gives its size to the team's threads.
static void extractInSmallStack(Host& host) {
    const Library library(host.path);
    SmallThread thread{&host, &library, scene(0)};
    pthread_attr_t attributes;
    pthread_t id;
    pthread_attr_init(&attributes);
    if (pthread_attr_setstacksize(&attributes, static_cast<std::size_t>(host.number(0))) != 0 ||
        pthread_setattr_default_np(&attributes) != 0 ||
        pthread_create(&id, &attributes, workInSmallStack, &thread) != 0) {
        throw std::runtime_error("no thread with such a stack");
    }
    pthread_join(id, nullptr);
    host.keep(thread.score);
}

// N contexts that have each extracted, all at once. Keeps how many gave another template than the first,
// the KB for each, and the threads in the end.
static void extractWithManyContexts(Host& host) {
    const Library library(host.path);
    const Scene face = scene(0);
    std::vector<std::unique_ptr<Context>> contexts;
    FaceTemplate first;
    int differences = 0;
    const auto alone = threadsOfThisProcess();
    const long before = residentKilobytes();
    for (int i = 0; i < host.number(0); ++i) {
        contexts.push_back(std::make_unique<Context>(library));
        const FaceTemplate result = contexts.back()->extract(face);
        first = i == 0 ? result : first;
        differences += std::memcmp(&first, &result, sizeof first) == 0 ? 0 : 1;
    }
    host.keep(static_cast<float>(differences));
    host.keep(static_cast<float>((residentKilobytes() - before) / host.number(0)));
    host.keep(static_cast<float>(threadsOfThisProcess()));
    contexts.clear();
    host.keep(static_cast<float>(threadsThatStay(alone)));
}

// The rest of the line of /proc/self/task/ID/FILE that starts so.
static std::string lineOfTask(const std::filesystem::path& task, const char* file,
                              const std::string& start) {
    std::ifstream stream(task / file);
    std::string line;
    while (std::getline(stream, line)) {
        if (line.starts_with(start)) {
            return line.substr(start.size());
        }
    }
    throw std::runtime_error("no such line of a thread");
}

// Nanoseconds of processor time of all threads but this one.
static long long timeOfOthers() {
    long long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (task.path().filename() != std::to_string(getpid())) {
            sum += std::stoll(lineOfTask(task, "schedstat", ""));
        }
    }
    return sum;
}

// Keeps after an extraction how many threads there are beside this one, how many of them may be given a
// signal of the host, and the milliseconds of processor time that they take in 200.
static void restAfterExtraction(Host& host) {
    const Library library(host.path);
    const Context context(library);
    context.extract(scene(0));
    int threads = 0;
    int open = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (task.path().filename() != std::to_string(getpid())) {
            ++threads;
            const unsigned long long blocked =
                std::stoull(lineOfTask(task, "status", "SigBlk:"), nullptr, 16);
            for (const int signal : {SIGINT, SIGTERM, SIGUSR1, SIGCHLD, SIGALRM, SIGRTMAX}) {
                open += (blocked >> static_cast<unsigned>(signal - 1) & 1U) != 0 ? 0 : 1;
            }
        }
    }
    const long long before = timeOfOthers();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    host.keep(static_cast<float>(threads));
    host.keep(static_cast<float>(open));
    host.keep(static_cast<float>(static_cast<double>(timeOfOthers() - before) / 1e6));
}

const Scenario kLimitScenarios[] = {
    {"extract-in-limited-space", extractInLimitedSpace},
    {"extract-with-few-threads", extractWithFewThreads},
    {"extract-in-small-stack", extractInSmallStack},
    {"extract-with-many-contexts", extractWithManyContexts},
    {"rest-after-extraction", restAfterExtraction},
    {nullptr, nullptr},
};
