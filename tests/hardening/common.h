// What the sweeps of this folder share.
#ifndef ZOMU_TESTS_HARDENING_COMMON_H
#define ZOMU_TESTS_HARDENING_COMMON_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "library/host/scene.h"
#include "service/attach.h"
#include "support/bits.h"
#include "zomu.h"

// A sample in an ordinary run, which takes seconds, or all of it with ZOMU_SWEEP=full in the
// environment (scripts/sweep.sh).
inline bool isFullSweep() {
    const char* form = std::getenv("ZOMU_SWEEP");
    return form != nullptr && std::strcmp(form, "full") == 0;
}

constexpr unsigned char kUnwritten = 0xA5;  // in each byte of a template before it is written

// `extract` is the library's own or one that was looked up.
inline void extractScene(decltype(&ZomuExtractTemplate) extract, ZomuContext* context,
                         const Scene& face, FaceTemplate& result) {
    std::memset(&result, kUnwritten, sizeof result);
    const Picture& picture = face.picture;
    extract(context, picture.topRow(), picture.width, picture.height, picture.stride, &face.record,
            &result);
}

inline FaceTemplate extractScene(ZomuContext* context, const Scene& face) {
    FaceTemplate result;
    extractScene(ZomuExtractTemplate, context, face, result);
    return result;
}

// To the last bit; all NaN count as one value.
inline testing::AssertionResult sameTemplates(const FaceTemplate& expected,
                                              const FaceTemplate& actual) {
    constexpr std::size_t kCount = sizeof(FaceTemplate) / sizeof(float);
    float values[2][kCount];
    std::memcpy(values[0], &expected, sizeof expected);
    std::memcpy(values[1], &actual, sizeof actual);
    return sameFloats(values[0], values[1], kCount);
}

// What this process writes to standard output and standard error between the two calls, be it the C
// library, a sanitizer or the system that writes.
inline void startCapture() {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
}

inline std::string endCapture() {
    return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
}

// The load of a library whose temporary directory is a test's own. Afterwards TMPDIR is what it
// was.
inline void loadTablesFrom(const std::string& temporaryDirectory) {
    const char* former = std::getenv("TMPDIR");
    const std::string kept = former == nullptr ? "" : former;
    setenv("TMPDIR", temporaryDirectory.c_str(), 1);
    attachLibrary();
    if (former == nullptr) {
        unsetenv("TMPDIR");
    } else {
        setenv("TMPDIR", kept.c_str(), 1);
    }
}

#endif
