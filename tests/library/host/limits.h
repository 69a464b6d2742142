// What a host may limit.
#ifndef ZOMU_TESTS_LIBRARY_HOST_LIMITS_H
#define ZOMU_TESTS_LIBRARY_HOST_LIMITS_H

#include <sys/resource.h>

#include <stdexcept>

inline void setLimit(decltype(RLIMIT_AS) resource, rlim_t value) {
    rlimit limit;
    getrlimit(resource, &limit);
    limit.rlim_cur = value;
    if (setrlimit(resource, &limit) != 0) {
        throw std::runtime_error("cannot set a limit");
    }
}

constexpr unsigned kNobody = 65534;  // a user for whom there are limits, unlike root

#endif
