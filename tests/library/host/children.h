// Child processes of a host.
#ifndef ZOMU_TESTS_LIBRARY_HOST_CHILDREN_H
#define ZOMU_TESTS_LIBRARY_HOST_CHILDREN_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "zomu.h"

// The exit status of a child that does `work`, or -1. A child that hangs is ended.
template <class Work>
int statusOfChild(const Work& work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        _exit(work());
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline bool areSame(const FaceTemplate& one, const FaceTemplate& other) {
    return std::memcmp(&one, &other, sizeof one) == 0;
}

#endif
