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

// In KB: the addresses of this process, and the memory behind them. As the system counts them, with what
// the heap keeps back for later.
struct ProcessMemory {
    long addresses = 0;
    long resident = 0;
};

inline ProcessMemory processMemory() {
    std::ifstream file("/proc/self/statm");
    ProcessMemory pages;
    if (!(file >> pages.addresses >> pages.resident)) {
        throw std::runtime_error("cannot read /proc/self/statm");
    }
    const long kilobytes = sysconf(_SC_PAGESIZE) / 1024;
    return {pages.addresses * kilobytes, pages.resident * kilobytes};
}

inline long addressKilobytes() {
    return processMemory().addresses;
}

inline long residentKilobytes() {
    return processMemory().resident;
}

// What the heap has handed out and not been given back.
inline long heapKilobytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<long>((info.uordblks + info.hblkhd) / 1024);
}

#endif
