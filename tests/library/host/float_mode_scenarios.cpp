// A host whose floating-point mode is its own.
#include <cfenv>
#include <functional>

#include "library/host/host.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

// Rounds upwards and takes subnormal numbers for zero, in results and in operands.
static void enterHostMode() {
    std::fesetround(FE_UPWARD);
#if defined(__SSE2__)
    _mm_setcsr(_mm_getcsr() | _MM_FLUSH_ZERO_ON | 0x40U);
#endif
}

static unsigned currentMode() {
#if defined(__SSE2__)
    return _mm_getcsr();
#else
    return static_cast<unsigned>(std::fegetround());
#endif
}

// In the host's mode first, so that the team's threads start with it: create, two templates, their
// score. Then all of it in the usual mode. Last, how many calls left another mode behind.
static void extractInHostMode(Host& host) {
    int changes = 0;
    const auto watched = [&changes](const std::function<void()>& call) {
        const unsigned before = currentMode();
        call();
        changes += currentMode() == before ? 0 : 1;
    };
    const Library library(host.path);
    const Scene places[] = {scene(0), scene(1)};  // computed as in every other test
    const auto work = [&] {
        ZomuContext* context = nullptr;
        FaceTemplate faces[2];
        float score = 0;
        watched([&] { context = library.create(); });
        for (int i = 0; i < 2; ++i) {
            const Scene& place = places[i];
            watched([&] {
                library.extract(context, place.picture.topRow(), place.picture.width,
                                place.picture.height, place.picture.stride, &place.record,
                                &faces[i]);
            });
            host.keep(faces[i]);
        }
        watched([&] { score = library.compare(&faces[0], &faces[1]); });
        watched([&] { library.destroy(context); });
        host.keep(score);
    };
    enterHostMode();
    work();
    std::fesetenv(FE_DFL_ENV);
    work();
    host.keep(static_cast<float>(changes));
}

const Scenario kFloatModeScenarios[] = {{"extract-in-host-mode", extractInHostMode},
                                        {nullptr, nullptr}};
