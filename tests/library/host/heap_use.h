// What the heap of this process has handed out.
#ifndef ZOMU_TESTS_LIBRARY_HOST_HEAP_USE_H
#define ZOMU_TESTS_LIBRARY_HOST_HEAP_USE_H

#include <malloc.h>

#if defined(_WIN32)
inline float megabytesInUse() {
    double bytes = 0;
    _HEAPINFO block = {};
    while (_heapwalk(&block) == _HEAPOK) {
        bytes += block._useflag == _USEDENTRY ? static_cast<double>(block._size) : 0;
    }
    return static_cast<float>(bytes / 1e6);
}
#else
inline float megabytesInUse() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<float>(static_cast<double>(info.uordblks + info.hblkhd) / 1e6);
}
#endif

#endif
