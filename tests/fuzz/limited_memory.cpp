// A machine with little memory: requests of more than 64 MB fail the way the library is promised,
// by std::bad_alloc, and so do those that malloc refuses. The address sanitizer's own operator new
// would end the process there.
#include <cstddef>
#include <cstdlib>
#include <new>

static constexpr std::size_t kLargestRequest = std::size_t{64} << 20U;

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return size <= kLargestRequest ? std::malloc(size > 0 ? size : 1) : nullptr;
}

void* operator new(std::size_t size) {
    void* bytes = operator new(size, std::nothrow);
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    return bytes;
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return operator new(size, std::nothrow);
}

void* operator new[](std::size_t size) {
    return operator new(size);
}

void operator delete(void* bytes) noexcept {
    std::free(bytes);
}

void operator delete(void* bytes, std::size_t) noexcept {
    std::free(bytes);
}

void operator delete[](void* bytes) noexcept {
    std::free(bytes);
}

void operator delete[](void* bytes, std::size_t) noexcept {
    std::free(bytes);
}
