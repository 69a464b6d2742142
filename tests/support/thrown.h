// What a call throws, in words.
#ifndef ZOMU_TESTS_SUPPORT_THROWN_H
#define ZOMU_TESTS_SUPPORT_THROWN_H

#include <exception>
#include <string>

// Empty where nothing is thrown.
template <typename Call>
std::string reasonOf(const Call& call) {
    try {
        call();
    } catch (const std::exception& problem) {
        return problem.what();
    }
    return "";
}

#endif
