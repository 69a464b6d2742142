// Counts the requests to the C++ heap.
#ifndef ZOMU_BENCH_HEAP_COUNT_H
#define ZOMU_BENCH_HEAP_COUNT_H

#include <cstddef>

struct HeapCount {
    std::size_t requests = 0;
    std::size_t bytes = 0;
};

// Since the program started, on all threads.
HeapCount heapCount();

#endif
