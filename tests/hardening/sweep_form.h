// How far the sweeps of this folder go: a sample in an ordinary run, which takes seconds, or all of
// it with ZOMU_SWEEP=full in the environment (scripts/check.sh sweep).
#ifndef ZOMU_TESTS_HARDENING_SWEEP_FORM_H
#define ZOMU_TESTS_HARDENING_SWEEP_FORM_H

#include <cstdlib>
#include <cstring>

inline bool isFullSweep() {
    const char* form = std::getenv("ZOMU_SWEEP");
    return form != nullptr && std::strcmp(form, "full") == 0;
}

#endif
