#include "threads/team.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/process.h"

namespace {

// A job and how much of it has been handed out, in one word, so that an index can be taken in one
// step: the job's number, its count of indices, and the next index. Aligned like one word, or else Clang
// calls a library for atomics, which need not be there.
struct alignas(std::uint64_t) Ticket {
    std::uint32_t job = 0;
    std::uint16_t count = 0;
    std::uint16_t next = 0;

    bool hasNext() const { return next < count; }
};

// How often a thread looks for work before it sleeps: some ten microseconds, about as long as the
// calling thread needs between the stages of an extraction. Waking a thread takes longer.
constexpr int kSpins = 2000;

}  // namespace

int defaultTeamSize() {
    const char* text = std::getenv("OMP_NUM_THREADS");
    const long asked = text != nullptr ? std::strtol(text, nullptr, 10) : 0;
    const long size = asked > 0 ? asked : usableProcessors();
    return static_cast<int>(std::clamp<long>(size, 1, kMostThreads));
}

struct Team::Shared {
    std::atomic<Ticket> ticket{Ticket{}};
    static_assert(std::atomic<Ticket>::is_always_lock_free);
    // Of the current job. A thread reads them before it takes an index. Taking it fails if another
    // job has begun meanwhile; and no other job begins before all indices of this one are done.
    std::atomic<ErasedTask> call{nullptr};
    std::atomic<const void*> task{nullptr};
    std::atomic<int> done{0};  // indices whose call has returned

    std::atomic<int> sleepers{0};
    std::atomic<bool> isCallerAsleep{false};
    std::atomic<bool> isEnding{false};
    std::mutex mutex;  // for sleeping, and for the failure
    std::condition_variable jobOrEnd;
    std::condition_variable jobDone;
    int failedIndex = 0;
    std::exception_ptr failure;

    std::vector<std::thread> threads;
    int process = currentProcess();  // whose threads these are

    ~Shared() {
        isEnding = true;
        {
            const std::lock_guard lock(mutex);
            jobOrEnd.notify_all();
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    void callOne(ErasedTask erased, const void* argument, int index, int member, int count) {
        try {
            erased(argument, index, member);
        } catch (...) {
            const std::lock_guard lock(mutex);
            if (failure == nullptr || index < failedIndex) {
                failure = std::current_exception();
                failedIndex = index;
            }
        }
        if (done.fetch_add(1) + 1 == count && isCallerAsleep) {
            const std::lock_guard lock(mutex);
            jobDone.notify_one();
        }
    }

    // Makes calls until no index is left.
    void takePart(int member) {
        Ticket current = ticket;
        while (current.hasNext()) {
            const ErasedTask erased = call;
            const void* argument = task;
            Ticket taken = current;
            ++taken.next;
            if (ticket.compare_exchange_weak(current, taken)) {
                callOne(erased, argument, current.next, member, current.count);
                current = ticket;
            }
        }
    }

    void waitForJob(std::uint32_t finished) {
        const auto isAwaited = [&] { return ticket.load().job != finished || isEnding; };
        for (int i = 0; i < kSpins; ++i) {
            if (isAwaited()) {
                return;
            }
            pauseSpinning();
        }
        std::unique_lock lock(mutex);
        ++sleepers;
        jobOrEnd.wait(lock, isAwaited);
        --sleepers;
    }

    void work(int member) {
        for (std::uint32_t finished = 0; !isEnding;) {
            waitForJob(finished);
            finished = ticket.load().job;
            takePart(member);
        }
    }

    void wakeAll() {
        if (sleepers > 0) {
            const std::lock_guard lock(mutex);
            jobOrEnd.notify_all();
        }
    }

    void waitUntilDone(int count) {
        const auto isDone = [&] { return done == count; };
        for (int i = 0; i < kSpins; ++i) {
            if (isDone()) {
                return;
            }
            pauseSpinning();
        }
        std::unique_lock lock(mutex);
        isCallerAsleep = true;
        jobDone.wait(lock, isDone);
        isCallerAsleep = false;
    }
};

Team::Team(int wantedSize) : wanted(wantedSize) {}

Team::~Team() {
    dropOfParent();
}

// A fork copies a team, but not its threads. What they held when the process forked is held for ever,
// so nothing of it may be touched.
void Team::dropOfParent() {
    if (shared != nullptr && shared->process != currentProcess()) {
        static_cast<void>(shared.release());
    }
}

void Team::start() {
    auto started = std::make_unique<Shared>();
    started->threads.reserve(static_cast<std::size_t>(wanted - 1));
    const SignalsBlocked blocked;  // in the threads, which inherit it: signals are the host's
    try {
        for (int member = 1; member < wanted; ++member) {
            started->threads.emplace_back(&Shared::work, started.get(), member);
        }
    } catch (const std::system_error&) {
        // The threads that could be started have to do.
    }
    shared = std::move(started);
}

void Team::runErased(int count, ErasedTask call, const void* task) {
    dropOfParent();
    if (shared == nullptr) {
        start();
    }
    Shared& s = *shared;
    s.call = call;
    s.task = task;
    s.done = 0;
    s.failure = nullptr;
    s.ticket = Ticket{s.ticket.load().job + 1, static_cast<std::uint16_t>(count), 0};
    s.wakeAll();
    s.takePart(0);
    s.waitUntilDone(count);
    if (s.failure != nullptr) {
        std::rethrow_exception(std::exchange(s.failure, nullptr));
    }
}
