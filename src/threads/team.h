// The threads that share the work of a context.
#ifndef ZOMU_THREADS_TEAM_H
#define ZOMU_THREADS_TEAM_H

#include <memory>

// How many threads a team has unless told otherwise: the first number in OMP_NUM_THREADS, or else
// the processors that the process may use; at least 1 and at most kMostThreads.
int defaultTeamSize();

constexpr int kMostThreads = 25;  // one for each network: more would have nothing to do

// The calling thread and some threads of its own, which the first use starts and which sleep while
// there is nothing to do. Only one thread at a time may use a team.
//
// If the system cannot start as many threads as asked for, the team is smaller. After a fork, the
// child's team starts threads of its own when it is used.
class Team {
  public:
    explicit Team(int wantedSize);
    ~Team();  // waits for its threads to end
    Team(const Team&) = delete;
    Team& operator=(const Team&) = delete;

    // The most threads that the team may have, the calling one included.
    int mostMembers() const { return wanted; }

    // Calls task(index, member) for each index below `count`, which is at most 65,535, and returns
    // when all calls have returned. `member`, below mostMembers(), says which thread makes the call;
    // the calling one is number 0. Which thread gets which index is left to chance, so a result must
    // not depend on it. The first indices start first.
    //
    // If calls throw, all others are made nevertheless, and then the exception of the lowest index
    // leaves run. If there is no memory to start the threads, std::bad_alloc does, and no call is made.
    template <class Task>
    void run(int count, const Task& task) {
        runErased(
            count,
            [](const void* erased, int index, int member) {
                (*static_cast<const Task*>(erased))(index, member);
            },
            &task);
    }

  private:
    struct Shared;
    using ErasedTask = void (*)(const void* task, int index, int member);

    void start();
    void dropOfParent();
    void runErased(int count, ErasedTask call, const void* task);

    int wanted;
    std::unique_ptr<Shared> shared;  // null until the first use
};

#endif
