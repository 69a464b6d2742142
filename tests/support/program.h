// What the main functions of test programs share.
#ifndef ZOMU_TESTS_SUPPORT_PROGRAM_H
#define ZOMU_TESTS_SUPPORT_PROGRAM_H

#include <cstdio>
#include <exception>

// The exit status of `body`, or, where it throws, a line on standard error and `failure`.
template <typename Body>
int runProgram(const char* name, int failure, const Body& body) {
    try {
        return body();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s: %s\n", name, exception.what());
        return failure;
    }
}

// How the program wants to be called, where it was not.
inline int wrongUsage(const char* usage) {
    std::fprintf(stderr, "usage: %s\n", usage);
    return 2;
}

#endif
