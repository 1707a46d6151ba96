#include "os/sync.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "os/join_counter.h"
#include "os/thread_pool.h"
#include "os/types.h"

using namespace trel;

TEST(SyncTest, TheMutexExcludes) {
    os::Mutex mutex;
    u64 count = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; i++) {
                const std::lock_guard<os::Mutex> lock(mutex);
                count++;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, 80000u);
    mutex.lock();
    bool second = true;
    std::thread([&] { second = mutex.try_lock(); }).join();
    EXPECT_FALSE(second);
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

// A lost wake-up would hang it.
TEST(SyncTest, EveryNotificationArrives) {
    os::Mutex mutex;
    os::ConditionVariable wake;
    int turn = 0;
    constexpr int kRounds = 2000;
    const auto play = [&](int me) {
        for (int i = 0; i < kRounds; i++) {
            std::unique_lock<os::Mutex> lock(mutex);
            wake.wait(lock, [&] { return turn % 3 == me; });
            turn++;
            wake.notify_all();
        }
    };
    std::thread first(play, 0), second(play, 1);
    play(2);
    first.join();
    second.join();
    EXPECT_EQ(turn, 3 * kRounds);
}

// The counter lives in the frame that waits and is gone at once.
TEST(SyncTest, JoinCountersComeAndGo) {
    struct Share {
        os::JoinCounter* join;
        u64 value = 0;
    };
    u64 sum = 0;
    for (u64 i = 0; i < 500; i++) {
        os::JoinCounter join;
        Share shares[3] = {{&join}, {&join}, {&join}};
        os::PoolWork* works[3];
        join.add(3);
        for (int t = 0; t < 3; t++) {
            works[t] = os::create_pool_work(
                [](void* argument) {
                    auto& share = *static_cast<Share*>(argument);
                    share.value = 1;
                    share.join->finish();
                },
                &shares[t]);
            ASSERT_NE(works[t], nullptr);
            os::submit_pool_work(works[t]);
        }
        join.wait();
        for (const Share& share : shares) sum += share.value;
        for (os::PoolWork* work : works) {
            os::wait_pool_work(work);
            os::close_pool_work(work);
        }
    }
    EXPECT_EQ(sum, 1500u);
}
