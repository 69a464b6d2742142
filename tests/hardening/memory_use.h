// How much memory the process uses.
#ifndef ZOMU_TESTS_HARDENING_MEMORY_USE_H
#define ZOMU_TESTS_HARDENING_MEMORY_USE_H

#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

constexpr long kMostGrowth = 2048;  // KB, of a host that does the same again and again

// Sanitizers keep freed memory back, so that their own growth would be measured.
#if defined(ZOMU_SANITIZED)
constexpr bool kMemoryIsJudged = false;
#else
constexpr bool kMemoryIsJudged = true;
#endif

// As the system counts it, with what the heap keeps back for later.
inline long residentKilobytes() {
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    if (!(file >> total >> resident)) {
        throw std::runtime_error("cannot read /proc/self/statm");
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// What the heap has handed out and not been given back.
inline long heapKilobytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<long>((info.uordblks + info.hblkhd) / 1024);
}

#endif
