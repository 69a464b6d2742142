// Memory between pages that nobody may touch: the first byte read or written outside ends the
// process, with any compiler and without a sanitizer.
#ifndef ZOMU_TESTS_SUPPORT_GUARDED_PAGES_H
#define ZOMU_TESTS_SUPPORT_GUARDED_PAGES_H

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstddef>
#include <cstdint>
#include <new>

#if defined(_WIN32)

inline std::size_t sizeOfPage() {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    return system.dwPageSize;
}

// Null where there is no room. Pages get memory when they are touched.
inline void* takePages(std::size_t bytes) {
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

inline void forbidPages(void* first, std::size_t bytes) {
    DWORD former;
    VirtualProtect(first, bytes, PAGE_NOACCESS, &former);
}

inline void returnPages(void* first, std::size_t) {
    VirtualFree(first, 0, MEM_RELEASE);
}

#else

inline std::size_t sizeOfPage() {
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// Null where there is no room. Pages get memory when they are touched.
inline void* takePages(std::size_t bytes) {
    void* room = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return room == MAP_FAILED ? nullptr : room;
}

inline void forbidPages(void* first, std::size_t bytes) {
    mprotect(first, bytes, PROT_NONE);
}

inline void returnPages(void* first, std::size_t bytes) {
    munmap(first, bytes);
}

#endif

// Whole pages, at least `bytes`, with a guard page before the first and one behind the last.
class GuardedPages {
  public:
    explicit GuardedPages(std::size_t bytes)
        : pages((bytes + pageSize() - 1) / pageSize()),
          front(static_cast<std::uint8_t*>(takePages(roomSize()))) {
        if (front == nullptr) {
            throw std::bad_alloc();
        }
        forbidPages(front, pageSize());
        forbidPages(end(), pageSize());
    }

    ~GuardedPages() { returnPages(front, roomSize()); }

    GuardedPages(const GuardedPages&) = delete;
    GuardedPages& operator=(const GuardedPages&) = delete;

    static std::size_t pageSize() { return sizeOfPage(); }

    std::uint8_t* begin() { return front + pageSize(); }
    std::uint8_t* end() { return begin() + pages * pageSize(); }

    // From now on the page that holds `byte` is a guard page, too.
    void forbid(std::uint8_t* byte) {
        const auto offset = static_cast<std::size_t>(byte - front);
        forbidPages(front + offset / pageSize() * pageSize(), pageSize());
    }

  private:
    std::size_t roomSize() const { return (pages + 2) * pageSize(); }

    std::size_t pages;
    std::uint8_t* front;
};

#endif
