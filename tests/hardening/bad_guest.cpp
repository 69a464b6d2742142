// The library's four functions as a guest without manners would write them. BAD_MANNER names the
// one thing that it does wrong; the tests see whether their hosts notice.
#include <fcntl.h>
#include <omp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zomu.h"

static bool is(const char* manner) {
    const char* chosen = std::getenv("BAD_MANNER");
    return chosen != nullptr && std::strcmp(chosen, manner) == 0;
}

struct BadManner {
    const char* name;
    void (*show)();
};

static constexpr BadManner kBadManners[] = {
    {"locale", [] { std::setlocale(LC_NUMERIC, "C.UTF-8"); }},
    {"rounding", [] { std::fesetround(FE_DOWNWARD); }},
    {"signalHandler", [] { std::signal(SIGUSR2, [](int) {}); }},
    {"environment", [] { setenv("ZOMU_BAD_GUEST", "1", 1); }},
    {"workingDirectory", [] { std::filesystem::current_path("/proc"); }},
    {"umask", [] { umask(0); }},
    {"openFile", [] { open("/dev/null", O_RDONLY); }},
    {"buffering", [] { std::setvbuf(stdout, nullptr, _IONBF, 0); }},
    {"standardOutput", [] { std::puts("hello"); }},
    {"standardError", [] { std::fputs("hello\n", stderr); }},
    {"thread", [] { std::thread([] { pause(); }).detach(); }},
    {"randomNumbers", [] { std::rand(); }},
    {"teamSize", [] { omp_set_num_threads(1); }},
};

static void misbehave() {
    for (const BadManner& manner : kBadManners) {
        if (is(manner.name)) {
            manner.show();
        }
    }
}

ZomuContext* ZomuCreate() {
    misbehave();
    return reinterpret_cast<ZomuContext*>(new char);
}

void ZomuDestroy(ZomuContext* context) {
    delete reinterpret_cast<char*>(context);
}

// A template that depends on the picture.
void ZomuExtractTemplate(ZomuContext*, const std::uint8_t* image, std::int32_t, std::int32_t,
                         std::int32_t, const LandmarkRecord*, FaceTemplate* templateOut) {
    if (image == nullptr) {
        return;
    }
    static std::atomic<int> calls = 0;
    const int call = ++calls;
    for (float& value : templateOut->projection) {
        value = static_cast<float>(image[0]);
    }
    templateOut->quadraticTerm = 1;
    templateOut->projectionNorm = 1;
    usleep(1000);
    if (is("anotherTemplate") && call == 400) {
        templateOut->projection[499] += 1;
    }
    if (is("growingMemory")) {
        static std::mutex mutex;
        static std::vector<std::string> kept;
        const std::lock_guard<std::mutex> lock(mutex);
        kept.emplace_back(10000, 'x');
    }
}

float ZomuCompareTemplates(const FaceTemplate* a, const FaceTemplate* b) {
    static std::atomic<int> calls = 0;
    const float wrong = is("anotherScore") && ++calls == 2000 ? 1.0F : 0.0F;
    return a->projection[0] + b->projection[0] + wrong;
}
