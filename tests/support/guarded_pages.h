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
#include <vector>

// takeSpace gives address space without memory, of which nothing may be touched before it is opened;
// null where there is no room. Pages get memory when they are touched.
#if defined(_WIN32)

inline std::size_t sizeOfPage() {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    return system.dwPageSize;
}

inline void returnPages(void* first, std::size_t) {
    VirtualFree(first, 0, MEM_RELEASE);
}

inline void* takeSpace(std::size_t bytes) {
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS);
}

inline bool openSpace(void* first, std::size_t bytes) {
    return VirtualAlloc(first, bytes, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}

inline void closeSpace(void* first, std::size_t bytes) {
    VirtualFree(first, bytes, MEM_DECOMMIT);
}

#else

inline std::size_t sizeOfPage() {
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

inline void returnPages(void* first, std::size_t bytes) {
    munmap(first, bytes);
}

inline void* takeSpace(std::size_t bytes) {
    void* room =
        mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return room == MAP_FAILED ? nullptr : room;
}

inline bool openSpace(void* first, std::size_t bytes) {
    return mprotect(first, bytes, PROT_READ | PROT_WRITE) == 0;
}

inline void closeSpace(void* first, std::size_t bytes) {
    madvise(first, bytes, MADV_DONTNEED);
    mprotect(first, bytes, PROT_NONE);
}

#endif

// Address space of which nothing may be touched but the pages that are opened. It costs no memory.
class ClosedSpace {
  public:
    explicit ClosedSpace(std::size_t bytes)
        : size(wholePages(bytes)), room(static_cast<std::uint8_t*>(takeSpace(size))) {
        if (room == nullptr) {
            throw std::bad_alloc();
        }
    }

    ~ClosedSpace() { returnPages(room, size); }
    ClosedSpace(const ClosedSpace&) = delete;
    ClosedSpace& operator=(const ClosedSpace&) = delete;

    static std::size_t wholePages(std::size_t bytes) {
        return (bytes + sizeOfPage() - 1) / sizeOfPage() * sizeOfPage();
    }

    std::uint8_t* begin() const { return room; }

    // The pages that hold `bytes` from `byte` on.
    void open(std::uint8_t* byte, std::size_t bytes) {
        const auto offset = static_cast<std::size_t>(byte - room);
        const std::size_t first = offset / sizeOfPage() * sizeOfPage();
        opened.push_back({room + first, wholePages(offset + bytes) - first});
        if (!openSpace(opened.back().first, opened.back().bytes)) {
            throw std::bad_alloc();
        }
    }

    void closeAll() {
        for (const Pages& pages : opened) {
            closeSpace(pages.first, pages.bytes);
        }
        opened.clear();
    }

  private:
    struct Pages {
        std::uint8_t* first;
        std::size_t bytes;
    };

    std::size_t size;
    std::uint8_t* room;
    std::vector<Pages> opened;
};

// Whole pages, at least `bytes`, with a guard page before the first and one behind the last.
class GuardedPages {
  public:
    explicit GuardedPages(std::size_t bytes)
        : size(ClosedSpace::wholePages(bytes)), space(size + 2 * pageSize()) {
        space.open(begin(), size);
    }

    static std::size_t pageSize() { return sizeOfPage(); }

    std::uint8_t* begin() { return space.begin() + pageSize(); }
    std::uint8_t* end() { return begin() + size; }

    // From now on the page that holds `byte` is a guard page, too.
    void forbid(std::uint8_t* byte) {
        const auto offset = static_cast<std::size_t>(byte - space.begin());
        closeSpace(space.begin() + offset / pageSize() * pageSize(), pageSize());
    }

  private:
    std::size_t size;
    ClosedSpace space;
};

#endif
