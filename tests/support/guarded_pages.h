// Memory between pages that nobody may touch: the first byte read or written outside ends the
// process, with any compiler and without a sanitizer.
#ifndef ZOMU_TESTS_SUPPORT_GUARDED_PAGES_H
#define ZOMU_TESTS_SUPPORT_GUARDED_PAGES_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <new>

// Whole pages, at least `bytes`, with a guard page before the first and one behind the last.
class GuardedPages {
  public:
    explicit GuardedPages(std::size_t bytes) : pages((bytes + pageSize() - 1) / pageSize()) {
        void* room =
            mmap(nullptr, roomSize(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (room == MAP_FAILED) {
            throw std::bad_alloc();
        }
        front = static_cast<std::uint8_t*>(room);
        mprotect(front, pageSize(), PROT_NONE);
        mprotect(end(), pageSize(), PROT_NONE);
    }

    ~GuardedPages() { munmap(front, roomSize()); }

    GuardedPages(const GuardedPages&) = delete;
    GuardedPages& operator=(const GuardedPages&) = delete;

    static std::size_t pageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

    std::uint8_t* begin() { return front + pageSize(); }
    std::uint8_t* end() { return begin() + pages * pageSize(); }

    // From now on the page that holds `byte` is a guard page, too.
    void forbid(std::uint8_t* byte) {
        const auto offset = static_cast<std::size_t>(byte - front);
        mprotect(front + offset / pageSize() * pageSize(), pageSize(), PROT_NONE);
    }

  private:
    std::size_t roomSize() const { return (pages + 2) * pageSize(); }

    std::size_t pages;
    std::uint8_t* front;
};

#endif
