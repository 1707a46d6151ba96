// The run-time behind the "cilk" framework.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "os/cpu.h"
#include "platform/cilk/cilk_entries.h"
#include "platform/cilk/work_stealing_pool.h"

using namespace trel;

namespace {

struct Ranges {
    std::mutex mutex;
    std::vector<std::pair<u64, u64>> all;
    static void run(void* data, u64 low, u64 high) {
        Ranges& ranges = *static_cast<Ranges*>(data);
        const std::lock_guard<std::mutex> lock(ranges.mutex);
        ranges.all.emplace_back(low, high);
    }
    // That they cover [begin, end) without overlap, at most `grain` each.
    void expect_cover(u64 begin, u64 end, u64 grain) {
        std::sort(all.begin(), all.end());
        u64 at = begin;
        for (const auto& [low, high] : all) {
            ASSERT_EQ(low, at);
            ASSERT_LT(low, high);
            ASSERT_LE(high - low, grain);
            at = high;
        }
        ASSERT_EQ(at, end);
        all.clear();
    }
};

}  // namespace

TEST(CilkEntriesTest, Parameters) {
    __cilkrts_end_cilk();
    EXPECT_EQ(__cilkrts_set_param("nworkers", "3"), 0);
    EXPECT_EQ(__cilkrts_get_nworkers(), 3);
    EXPECT_EQ(__cilkrts_set_param("stack size", "3"), 1);
    EXPECT_EQ(__cilkrts_set_param(nullptr, "3"), 1);
    for (const char* value : {"0", "65537", "99999999999999999999"}) {
        EXPECT_EQ(__cilkrts_set_param("nworkers", value), 2) << value;
    }
    for (const char* value : {"", "x", "3x", "-1", " 3"})
        EXPECT_EQ(__cilkrts_set_param("nworkers", value), 3) << value;
    EXPECT_EQ(__cilkrts_set_param("nworkers", nullptr), 3);
    EXPECT_EQ(__cilkrts_get_nworkers(), 3);
    Ranges ranges;
    __cilkrts_cilk_for_64(Ranges::run, &ranges, 0, 1);
    EXPECT_TRUE(ranges.all.empty());
    __cilkrts_cilk_for_64(Ranges::run, &ranges, 100, 1);
    ranges.expect_cover(0, 100, 1);
    EXPECT_EQ(__cilkrts_set_param("nworkers", "4"), 4);  // too late
    EXPECT_EQ(__cilkrts_set_param("nworkers", "3"), 0);
    __cilkrts_end_cilk();
    EXPECT_EQ(__cilkrts_set_param("nworkers", "65536"), 0);
    __cilkrts_cilk_for_64(Ranges::run, &ranges, 10, 1);
    ranges.expect_cover(0, 10, 1);
    __cilkrts_end_cilk();
    __cilkrts_end_cilk();
    EXPECT_EQ(__cilkrts_set_param("nworkers", "2"), 0);
}

TEST(CilkEntriesTest, Grain) {
    Ranges ranges;
    for (const int grain : {1, 2, 7, 100, 5000}) {
        for (const u64 n : {1, 2, 3, 100, 4097}) {
            __cilkrts_cilk_for_64(Ranges::run, &ranges, n, grain);
            ranges.expect_cover(0, n, static_cast<u64>(grain));
        }
    }
    const u64 pieces = 8 * static_cast<u64>(__cilkrts_get_nworkers());
    for (const int grain : {0, -1}) {
        __cilkrts_cilk_for_64(Ranges::run, &ranges, 1000, grain);
        ranges.expect_cover(0, 1000, (1000 + pieces - 1) / pieces);
        __cilkrts_cilk_for_64(Ranges::run, &ranges, 10'000'000, grain);
        ranges.expect_cover(0, 10'000'000, 2048);
    }
}

TEST(WorkStealingPoolTest, OneWorkerRunsInOrderAndAlone) {
    WorkStealingPool pool(1);
    Ranges ranges;
    pool.run_loop(Ranges::run, &ranges, 5, 50, 1);
    for (u64 i = 0; i < 45; i++) ASSERT_EQ(ranges.all[i].first, 5 + i);
    pool.run_loop(Ranges::run, &ranges, 7, 7, 1);
    EXPECT_EQ(ranges.all.size(), 45U);
    EXPECT_EQ(pool.threads_started(), 0U);
}

TEST(WorkStealingPoolTest, ThreadsAreStartedAsWorkAsksForThem) {
    WorkStealingPool pool(5);
    EXPECT_EQ(pool.threads_started(), 0U);
    // All five must run at the same time.
    struct Meeting {
        std::mutex mutex;
        std::condition_variable all_here;
        int missing = 5;
        static void run(void* data, u64, u64) {
            Meeting& meeting = *static_cast<Meeting*>(data);
            std::unique_lock<std::mutex> lock(meeting.mutex);
            if (--meeting.missing == 0) meeting.all_here.notify_all();
            meeting.all_here.wait(lock, [&] { return meeting.missing == 0; });
        }
    } meeting;
    pool.run_loop(Meeting::run, &meeting, 0, 5, 1);
    EXPECT_EQ(meeting.missing, 0);
    EXPECT_EQ(pool.threads_started(), 4U);
}

TEST(WorkStealingPoolTest, LoopsFromManyThreadsAndAcrossPools) {
    WorkStealingPool one(3), other(2);
    struct Work {
        WorkStealingPool* pool;
        std::atomic<u64> sum{0};
        static void inner(void* data, u64 low, u64 high) {
            for (u64 i = low; i < high; i++) static_cast<Work*>(data)->sum += i;
        }
        static void outer(void* data, u64 low, u64 high) {
            for (u64 i = low; i < high; i++) static_cast<Work*>(data)->pool->run_loop(inner, data, 0, 10, 3);
        }
    } work;
    work.pool = &other;
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; t++) threads.emplace_back([&] { one.run_loop(Work::outer, &work, 0, 20, 1); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(work.sum.load(), 6U * 20 * 45);
}

// More threads than a pool takes guests: the rest run their loops alone.
TEST(WorkStealingPoolTest, MoreGuestsThanPlaces) {
    WorkStealingPool pool(2);
    std::atomic<u64> runs{0};
    std::mutex mutex;
    std::condition_variable all_here;
    u64 missing = 300;
    struct Context {
        std::atomic<u64>& runs;
        std::mutex& mutex;
        std::condition_variable& all_here;
        u64& missing;
    } context{runs, mutex, all_here, missing};
    std::vector<std::thread> threads;
    for (int t = 0; t < 300; t++) {
        threads.emplace_back([&] {
            pool.run_loop(
                [](void* data, u64, u64) {
                    Context& c = *static_cast<Context*>(data);
                    c.runs++;
                    std::unique_lock<std::mutex> lock(c.mutex);
                    if (--c.missing == 0) c.all_here.notify_all();
                    c.all_here.wait(lock, [&] { return c.missing == 0; });
                },
                &context, 0, 1, 1);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(runs.load(), 300U);
}
