#include "support/failing_allocator.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

static std::atomic<long> g_requests = 0;
static std::atomic<long> g_firstToFail = 0;
static std::atomic<long> g_lastToFail = 0;
static std::atomic<long> g_quietFailures = 0;
static std::atomic<long> g_outstanding = 0;

static constexpr long kNoEnd = 1L << 60;

// A machine with little memory: larger requests always fail.
#if !defined(ZOMU_LARGEST_REQUEST)
#define ZOMU_LARGEST_REQUEST SIZE_MAX
#endif

void failAllocations(long first, Failing kind) {
    g_firstToFail = first;
    g_lastToFail = first == 0 ? 0 : kind == Failing::once ? first : kNoEnd;
    g_requests = 0;
    g_quietFailures = 0;
}

long stopFailing() {
    g_firstToFail = 0;
    g_lastToFail = 0;
    return g_requests;
}

long quietFailures() {
    return g_quietFailures;
}

long outstandingBlocks() {
    return g_outstanding;
}

static bool mustFail() {
    const long request = ++g_requests;
    return g_firstToFail <= request && request <= g_lastToFail;
}

static void* takeBlock(std::size_t size, std::size_t alignment) {
    const std::size_t wanted = std::max<std::size_t>(size, 1);
    void* block =
        size > ZOMU_LARGEST_REQUEST ? nullptr
        : alignment == 0
            ? std::malloc(wanted)
            : std::aligned_alloc(alignment, (wanted + alignment - 1) / alignment * alignment);
    g_outstanding += block == nullptr ? 0 : 1;
    return block;
}

static void* allocate(std::size_t size, std::size_t alignment) {
    void* block = mustFail() ? nullptr : takeBlock(size, alignment);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

static void* allocateQuietly(std::size_t size, std::size_t alignment) {
    if (mustFail()) {
        ++g_quietFailures;
        return nullptr;
    }
    return takeBlock(size, alignment);
}

static void release(void* block) {
    if (block != nullptr) {
        --g_outstanding;
        std::free(block);
    }
}

using Align = std::align_val_t;
using Quiet = std::nothrow_t;
static std::size_t bytes(Align alignment) {
    return static_cast<std::size_t>(alignment);
}

// An operator and its form for arrays, visible from the libraries that the program opens. All
// forms, because a sanitizer brings its own of each and wants a block to go back the way it came.
#define ZOMU_VISIBLE __attribute__((visibility("default")))
#define ZOMU_REPLACE(result, name, signature, body)                      \
    ZOMU_VISIBLE result operator name signature body ZOMU_VISIBLE result \
    operator name[] signature body

// clang-format off
ZOMU_REPLACE(void*, new, (std::size_t n), { return allocate(n, 0); })
ZOMU_REPLACE(void*, new, (std::size_t n, Align a), { return allocate(n, bytes(a)); })
ZOMU_REPLACE(void*, new, (std::size_t n, const Quiet&) noexcept, { return allocateQuietly(n, 0); })
ZOMU_REPLACE(void*, new, (std::size_t n, Align a, const Quiet&) noexcept,
             { return allocateQuietly(n, bytes(a)); })
ZOMU_REPLACE(void, delete, (void* block) noexcept, { release(block); })
ZOMU_REPLACE(void, delete, (void* block, std::size_t) noexcept, { release(block); })
ZOMU_REPLACE(void, delete, (void* block, const Quiet&) noexcept, { release(block); })
ZOMU_REPLACE(void, delete, (void* block, Align) noexcept, { release(block); })
ZOMU_REPLACE(void, delete, (void* block, std::size_t, Align) noexcept, { release(block); })
ZOMU_REPLACE(void, delete, (void* block, Align, const Quiet&) noexcept, { release(block); })
// clang-format on
