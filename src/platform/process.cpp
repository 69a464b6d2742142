#include "platform/process.h"

#include <algorithm>
#include <cstdint>
#include <thread>

#if defined(_WIN32)

#include <windows.h>

int currentProcess() {
    return static_cast<int>(GetCurrentProcessId());
}

int usableProcessors() {
    return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

// Large pages need a privilege here.
void askForLargePages(void*, std::size_t) {}

SignalsBlocked::SignalsBlocked() = default;
SignalsBlocked::~SignalsBlocked() = default;

LibraryHold::LibraryHold() {
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCSTR>(&usableProcessors), &self);
    handle = self;
}

void closeLibrary(void* handle) {
    if (handle != nullptr) {
        FreeLibrary(static_cast<HMODULE>(handle));
    }
}

#else

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>
#if defined(__linux__)
#include <sched.h>
#endif

int currentProcess() {
    return getpid();
}

int usableProcessors() {
#if defined(__linux__)
    cpu_set_t usable;  // fails on a machine with more than 1,024 processors
    if (sched_getaffinity(0, sizeof usable, &usable) == 0) {
        return std::max(1, CPU_COUNT(&usable));
    }
#endif
    return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

void askForLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes) {
#if defined(MADV_HUGEPAGE)
    // Whole pages of their usual size that lie in it.
    constexpr std::uintptr_t kPage = std::uintptr_t{1} << 21;
    const auto address = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t begin = (address + kPage - 1) / kPage * kPage;
    const std::uintptr_t end = (address + bytes) / kPage * kPage;
    if (begin < end) {
        madvise(static_cast<char*>(memory) + (begin - address), end - begin, MADV_HUGEPAGE);
    }
#endif
}

SignalsBlocked::SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
}

SignalsBlocked::~SignalsBlocked() {
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

LibraryHold::LibraryHold() {
    Dl_info info;
    if (dladdr(reinterpret_cast<const void*>(&usableProcessors), &info) != 0) {
        handle = dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    }
}

void closeLibrary(void* handle) {
    if (handle != nullptr) {
        dlclose(handle);
    }
}

#endif

LibraryHold::~LibraryHold() {
    closeLibrary(handle);
}
