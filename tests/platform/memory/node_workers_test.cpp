// The threads of the memory nodes, and the lock that their tasks share.
#include "platform/memory/node_workers.h"

#include <gtest/gtest.h>

#include <mutex>
#include <set>
#include <thread>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"

using namespace trel;

TEST(NodeWorkersTest, OneThreadANodeAndItsTasksInTurn) {
    NodeWorkers workers;
    std::set<std::thread::id> threads;
    std::vector<int> order;
    os::JoinCounter join;
    join.add(20);
    for (int i = 0; i < 20; i++) {
        workers.worker(5).push(
            [&, i] {
                threads.insert(std::this_thread::get_id());
                order.push_back(i);
            },
            join);
    }
    join.wait();
    EXPECT_EQ(threads.size(), 1U);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
    for (int i = 0; i < 20; i++) EXPECT_EQ(order[static_cast<size_t>(i)], i);
    EXPECT_EQ(&workers.worker(5), &workers.worker(5));
    EXPECT_NE(&workers.worker(5), &workers.worker(6));
}

TEST(SpinLockTest, LetsOneInAtATime) {
    SpinLock lock;
    u64 count = 0;  // not atomic
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; i++) {
                const std::lock_guard<SpinLock> guard(lock);
                count++;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, 80000U);
}

TEST(NodeWorkersDeathTest, ExceptionsEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [] {
        Console::set_pause_before_fatal_exit(false);
        print_to_stderr();
        NodeWorkers workers;
        os::JoinCounter join;
        join.add(1);
        workers.worker(3).push([] { throw InvalidParametersException("", "of the task"); }, join);
        join.wait();
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(1),
                "^" + report_pattern(InvalidParametersException("", "of the task")) +
                    "\nNodeAllocator: An exception was thrown from a task.\n$");
}
