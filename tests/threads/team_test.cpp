#include "threads/team.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/process.h"
#include "support/environment.h"

namespace {

// How often each index was called.
std::vector<int> callsOf(Team& team, int count) {
    std::vector<std::atomic<int>> calls(static_cast<std::size_t>(count));
    team.run(count, [&](int index, int) { ++calls[static_cast<std::size_t>(index)]; });
    return {calls.begin(), calls.end()};
}

}  // namespace

TEST(Team, callsEveryIndexOnceWhateverItsSize) {
    for (const int size : {1, 2, 3, 8, 25}) {
        Team team(size);
        for (const int count : {0, 1, 2, 25, 1000}) {
            EXPECT_EQ(callsOf(team, count), std::vector<int>(static_cast<std::size_t>(count), 1));
        }
    }
}

TEST(Team, givesEachThreadAMemberOfItsOwn) {
    Team team(4);
    std::array<std::atomic<int>, 4> inUse = {};
    std::array<std::atomic<std::thread::id>, 4> owners = {};
    std::atomic<bool> isShared{false};
    for (int round = 0; round < 50; ++round) {
        team.run(40, [&](int, int member) {
            const auto slot = static_cast<std::size_t>(member);
            const std::thread::id self = std::this_thread::get_id();
            std::thread::id owner;
            if (++inUse[slot] != 1 ||
                !(owners[slot].compare_exchange_strong(owner, self) || owner == self)) {
                isShared = true;
            }
            --inUse[slot];
        });
    }
    EXPECT_FALSE(isShared);
    EXPECT_EQ(owners[0].load(), std::this_thread::get_id()) << "the calling thread is number 0";
}

TEST(Team, worksOnSeveralIndicesAtATime) {
    Team team(3);
    std::atomic<int> running{0};
    team.run(3, [&](int, int) {
        ++running;
        while (running < 3) {
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(running, 3);
}

TEST(Team, wakesThreadsThatHaveFallenAsleep) {
    Team team(3);
    for (int round = 0; round < 20; ++round) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        EXPECT_EQ(callsOf(team, 30), std::vector<int>(30, 1));
    }
}

TEST(Team, makesAllCallsAndHandsOnTheExceptionOfTheLowestIndex) {
    Team team(3);
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> calls{0};
        std::string caught;
        try {
            team.run(30, [&](int index, int) {
                ++calls;
                if (index % 7 == 5) {
                    throw std::runtime_error(std::to_string(index));
                }
            });
        } catch (const std::runtime_error& error) {
            caught = error.what();
        }
        EXPECT_EQ(caught, "5");
        EXPECT_EQ(calls, 30);
        EXPECT_EQ(callsOf(team, 9), std::vector<int>(9, 1)) << "and works on";
    }
}

TEST(Team, hasTheSizeThatTheEnvironmentAsksFor) {
    const struct {
        const char* value;
        int size;
    } cases[] = {{"1", 1}, {"3", 3}, {"2,4", 2}, {"1000", kMostThreads}};
    for (const auto& [value, size] : cases) {
        setVariable("OMP_NUM_THREADS", value);
        EXPECT_EQ(defaultTeamSize(), size) << value;
    }
    for (const char* senseless : {"", "0", "-3", "many"}) {
        setVariable("OMP_NUM_THREADS", senseless);
        EXPECT_EQ(defaultTeamSize(), std::min(usableProcessors(), kMostThreads)) << senseless;
    }
}
