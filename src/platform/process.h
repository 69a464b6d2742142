// What differs between operating systems in how a process treats its threads and its libraries.
#ifndef ZOMU_PLATFORM_PROCESS_H
#define ZOMU_PLATFORM_PROCESS_H

#include <cstddef>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif
#if !defined(_WIN32)
#include <csignal>
#endif
#include <utility>

// The number of this process. A child after a fork has another one.
int currentProcess();

// How many processors this process may use; at least 1.
int usableProcessors();

// Asks the system to keep this memory, which nothing has written to yet, in large pages, where it has
// them: reading much of it then takes less time. Does nothing if it cannot.
void askForLargePages(void* memory, std::size_t bytes);

// Tells the processor that this thread is waiting in a loop.
inline void pauseSpinning() {
#if defined(__SSE2__) || defined(_M_X64)
    _mm_pause();
#elif defined(__aarch64__) && defined(__GNUC__)
    __asm__ volatile("yield");
#endif
}

// While an object of this class exists, no signal is delivered to this thread, nor ever to a thread
// that it starts meanwhile. Without effect on Windows.
class SignalsBlocked {
  public:
    SignalsBlocked();
    ~SignalsBlocked();
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

#if !defined(_WIN32)
  private:
    sigset_t former;
#endif
};

// While an object of this class exists, the shared library that contains this code stays in memory,
// even if the host closes it. In a program that contains this code itself, without effect.
class LibraryHold {
  public:
    LibraryHold();
    ~LibraryHold();
    LibraryHold(const LibraryHold&) = delete;
    LibraryHold& operator=(const LibraryHold&) = delete;

    // What keeps the library: from now on the caller's, who gives it back with closeLibrary.
    void* handOver() { return std::exchange(handle, nullptr); }

  private:
    void* handle = nullptr;
};

// Gives a handle back, if it is not null. If the host has closed the library, no code is left to return
// to. So whoever may be the last calls this as the very last thing, and the compiler makes it a jump.
void closeLibrary(void* handle);

#endif
