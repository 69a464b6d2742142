// What a reader of files has to say of a file that it refuses.
#ifndef ZOMU_TESTS_FUZZ_FUZZ_PROBLEM_H
#define ZOMU_TESTS_FUZZ_FUZZ_PROBLEM_H

#include <cstring>
#include <string>

#include "file_bytes.h"
#include "fuzz/fuzz_target.h"

// One line, not empty, that ends inside its place.
inline void checkReason(const Problem& problem) {
    const std::string text(problem.text, strnlen(problem.text, sizeof problem.text));
    REQUIRE(!text.empty() && text.size() < sizeof problem.text);
    REQUIRE(text.find('\n') == std::string::npos);
}

#endif
