// A line at which threads wait for each other, so that all start at one moment.
//
// std::barrier is not used: in GCC 12's library for Windows it notifies without holding the lock of
// the waiter, so that a thread that is just about to sleep never wakes (seen in one run of thirty).
#ifndef ZOMU_TESTS_SUPPORT_START_LINE_H
#define ZOMU_TESTS_SUPPORT_START_LINE_H

#include <atomic>
#include <thread>

class StartLine {
  public:
    explicit StartLine(int threads) : missing(threads) {}

    // Returns when as many threads have called it as the line was made for.
    void arriveAndWait() {
        --missing;
        while (missing > 0) {
            std::this_thread::yield();
        }
    }

  private:
    std::atomic<int> missing;
};

#endif
