// The load of a library whose temporary directory is a test's own.
#ifndef ZOMU_TESTS_HARDENING_TABLES_FROM_H
#define ZOMU_TESTS_HARDENING_TABLES_FROM_H

#include <cstdlib>
#include <string>

#include "service/attach.h"

// Afterwards TMPDIR is what it was.
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
