// The threads of the test's own process, and an alarm for the case that they wait for each other.
#ifndef ZOMU_TESTS_SUPPORT_THREADS_H
#define ZOMU_TESTS_SUPPORT_THREADS_H

#if defined(_WIN32)
#include <windows.h>
// After windows.h, which it needs.
#include <tlhelp32.h>
#else
#include <unistd.h>

#include <filesystem>
#include <iterator>
#endif

#include <chrono>
#include <cstddef>
#include <thread>

#if defined(_WIN32)

inline std::ptrdiff_t threadsOfThisProcess() {
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 thread = {};
    thread.dwSize = sizeof thread;
    std::ptrdiff_t count = 0;
    for (BOOL found = Thread32First(all, &thread); found; found = Thread32Next(all, &thread)) {
        count += thread.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    CloseHandle(all);
    return count;
}

// Ends the process after so many seconds, unless it is gone before.
class Alarm {
  public:
    explicit Alarm(unsigned seconds) {
        CreateTimerQueueTimer(
            &timer, nullptr, [](void*, BOOLEAN) { TerminateProcess(GetCurrentProcess(), 142); },
            nullptr, seconds * 1000, 0, WT_EXECUTEONLYONCE);
    }
    ~Alarm() { DeleteTimerQueueTimer(nullptr, timer, INVALID_HANDLE_VALUE); }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

  private:
    HANDLE timer = nullptr;
};

#else

inline std::ptrdiff_t threadsOfThisProcess() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
}

// Ends the process after so many seconds, unless it is gone before.
class Alarm {
  public:
    explicit Alarm(unsigned seconds) { alarm(seconds); }
    ~Alarm() { alarm(0); }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;
};

#endif

// How many threads there are once those that have been joined are gone from the system's list, too, which
// may take a moment: as soon as there are no more than `expected`, or after two seconds.
inline std::ptrdiff_t threadsThatStay(std::ptrdiff_t expected) {
    std::ptrdiff_t threads = threadsOfThisProcess();
    for (int i = 0; i < 2000 && threads > expected; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        threads = threadsOfThisProcess();
    }
    return threads;
}

// A setting of the process for as long as an object of this class lives.
template <int (*get)(), void (*set)(int)>
class Setting {
  public:
    explicit Setting(int value) : former(get()) { set(value); }
    ~Setting() { set(former); }
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

  private:
    int former;
};

#endif
