#include "matrix/blas_memory.h"

#if !defined(ZOMU_BLAS_MEMORY)

BlasMemory::BlasMemory() = default;
BlasMemory::~BlasMemory() = default;

#else

#include <sys/mman.h>

#include <atomic>
#include <cstddef>
#include <new>
#include <utility>

namespace {

// As much as the BLAS asks for: its kernels choose their blocks so that they fill it. Only what a
// product writes to is ever more than an address.
constexpr std::size_t kBytes = std::size_t{32} << 22U;

// Memory that no product uses just now. No lock: after a fork, nobody would open it in the child.
class Spare {
  public:
    ~Spare() {
        while (void* memory = take()) {
            munmap(memory, kBytes);
        }
    }

    void* take() {
        for (std::atomic<void*>& slot : slots) {
            if (void* memory = slot.exchange(nullptr)) {
                return memory;
            }
        }
        return nullptr;
    }

    void putBack(void* memory) {
        for (std::atomic<void*>& slot : slots) {
            void* empty = nullptr;
            if (slot.compare_exchange_strong(empty, memory)) {
                return;
            }
        }
        munmap(memory, kBytes);
    }

  private:
    std::atomic<void*> slots[32] = {};
};

Spare g_spare;

// Of this thread's product: what the BLAS may ask for, and what it has been given. Initial-exec, so
// that the first use of a thread's variable allocates nothing.
[[gnu::tls_model("initial-exec")]] thread_local void* g_offered = nullptr;
[[gnu::tls_model("initial-exec")]] thread_local void* g_lent = nullptr;

}  // namespace

BlasMemory::BlasMemory() : memory(g_spare.take()) {
    if (memory == nullptr) {
        memory = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
    }
    g_offered = memory;
}

BlasMemory::~BlasMemory() {
    g_offered = nullptr;
    g_lent = nullptr;
    g_spare.putBack(memory);
}

// The linker sends the calls of these three functions here (--wrap, see src/CMakeLists.txt) and calls
// the BLAS's own ones __real.
// NOLINTBEGIN(bugprone-reserved-identifier): the names are the linker's.
extern "C" {
void* __real_blas_memory_alloc(int purpose);
void __real_blas_memory_free(void* memory);
void* __wrap_blas_memory_alloc(int purpose);
void __wrap_blas_memory_free(void* memory);
int __wrap_blas_thread_init();

void* __wrap_blas_memory_alloc(int purpose) {
    if (g_offered == nullptr) {
        return __real_blas_memory_alloc(purpose);
    }
    g_lent = std::exchange(g_offered, nullptr);
    return g_lent;
}

void __wrap_blas_memory_free(void* memory) {
    if (memory != nullptr && memory == g_lent) {
        g_offered = std::exchange(g_lent, nullptr);
    } else {
        __real_blas_memory_free(memory);
    }
}

// Called by the load. All that it does is to ask for memory for threads of the BLAS, which has none
// here; a program that lets it have some makes up for this when they start.
int __wrap_blas_thread_init() {
    return 0;
}
}
// NOLINTEND(bugprone-reserved-identifier)

#endif
