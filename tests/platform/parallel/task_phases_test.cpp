// Phases of items on one set of tasks: every item once, no phase before the end of the one below, whatever
// the framework does with the tasks.
#include "platform/parallel/task_phases.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "support/capture_console.h"
#include "support/threads.h"

namespace {

using namespace trel;

// Runs its tasks one after the other, the last one first.
class Backwards final : public BasicParallelizer {
  public:
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override {
        while (end-- > begin) action.run(end);
    }
    void run_in_parallel(BasicAction& a, BasicAction& b) override {
        b.run(0);
        a.run(0);
    }
};

// A bit of the count that memory sets for ever. A task that waits for the count is woken, and none begins to
// wait. One that sleeps on is woken in the end by a count that is right, so that the test fails and does not
// hang.
TEST(PhaseEndTest, ACountThatIsTooLargeEndsThePhase) {
    PhaseEnd end;
    std::atomic<u64>& done = reinterpret_cast<std::atomic<u64>&>(end);
    const std::atomic<u32>& sleepers = *reinterpret_cast<const std::atomic<u32>*>(&done + 1);
    ASSERT_EQ(done, 0u);
    end.finish_one(3);
    ASSERT_EQ(done, 1u);
    std::atomic<bool> awake{false};
    std::thread waiting([&] {
        end.wait(3);
        awake = true;
    });
    while (sleepers == 0) std::this_thread::yield();
    done |= u64(1) << 24;
    end.finish_one(3);
    const auto given_up = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!awake && std::chrono::steady_clock::now() < given_up) std::this_thread::yield();
    EXPECT_TRUE(awake);
    if (awake) {
        end.wait(3);
        EXPECT_GT(done, 3u);
    } else {
        done = 2;
        end.finish_one(3);
    }
    waiting.join();
}

constexpr u64 kItems[] = {7, 0, 100, 1, 64, 3};
constexpr u32 kPhases = std::size(kItems);

void check_phases(const ParallelContext& parallel, u64 tasks, u64 microseconds) {
    std::vector<std::atomic<u32>> runs(200 * kPhases);
    std::atomic<u64> finished[kPhases] = {};
    std::atomic<bool> in_order{true}, alone{true};
    std::vector<std::atomic<u32>> inside(tasks);
    run_phases(
        parallel, tasks, kPhases, [](u32 phase) noexcept { return kItems[phase]; },
        [&](u64 task, u32 phase, u64 i) noexcept {
            if (inside[task].fetch_add(1) != 0) alone = false;
            for (u32 k = 0; k < phase; k++) {
                if (finished[k] != kItems[k]) in_order = false;
            }
            // the last item of a phase lets the others fall asleep
            if (microseconds != 0 && i + 1 == kItems[phase]) {
                std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
            }
            runs[200 * phase + i]++;
            finished[phase]++;
            inside[task]--;
        });
    EXPECT_TRUE(in_order);
    EXPECT_TRUE(alone);
    for (u32 k = 0; k < kPhases; k++) {
        for (u64 i = 0; i < 200; i++) ASSERT_EQ(runs[200 * k + i], i < kItems[k] ? 1u : 0u) << k << " " << i;
    }
}

TEST(TaskPhasesTest, EveryItemOnceInOrderOfPhases) {
    Backwards backwards;
    for (const u64 tasks : {1, 2, 3, 7, 64}) {
        for (u32 i = 0; i < 10; i++) check_phases({thread_framework(), tasks}, tasks, 0);
        check_phases({&backwards, tasks}, tasks, 0);
        check_phases(serial_context(), tasks, 0);
    }
}

TEST(TaskPhasesTest, SleepersAreWoken) {
    for (u32 i = 0; i < 5; i++) check_phases({thread_framework(), 3}, 3, 3000);
}

// However many tasks there are, only items that other tasks had taken by then run after a request.
TEST(TaskPhasesTest, NoItemBeginsAfterARequest) {
    Backwards backwards;
    for (const u64 tasks : {1, 2, 3}) {
        for (const u32 last : {0u, 2u}) {
            RunMonitor monitor;
            const ParallelContext parallel{&backwards, tasks, &monitor};
            u64 begun = 0, after = 0;
            const auto run = [&] {
                run_phases(
                    parallel, tasks, 3, [](u32) noexcept { return u64(5); },
                    [&](u64, u32 phase, u64) noexcept {
                        if (monitor.stop.requested()) after++;
                        if (phase == last && begun % 5 == 1) monitor.stop.request();
                        begun++;
                    });
            };
            EXPECT_THROW(run(), RunStopped);
            EXPECT_EQ(after, 0u) << tasks;
            EXPECT_EQ(begun, 5 * last + 2) << tasks;
        }
    }
}

// Tasks that run at the same time: each has at most the item that it was about to run.
TEST(TaskPhasesTest, AStopReachesTasksOfOtherThreads) {
    RunMonitor monitor;
    const ParallelContext parallel{thread_framework(), 3, &monitor};
    std::atomic<u64> after{0};
    const auto run = [&] {
        run_phases(
            parallel, 3, 2, [](u32) noexcept { return u64(3000); },
            [&](u64, u32, u64 i) noexcept {
                if (monitor.stop.requested()) after++;
                if (i == 10) monitor.stop.request();
            });
    };
    EXPECT_THROW(run(), RunStopped);
    EXPECT_LE(after, 2u);
}

TEST(TaskPhasesDeathTest, TooManyPhasesOrTasksEndTheProcess) {
    const auto none = [](u32) noexcept { return u64(0); };
    const auto nothing = [](u64, u32, u64) noexcept {};
    run_phases(serial_context(), kMaxPhaseTasks, kMaxPhases, none, nothing);
    const auto run = [&](u64 tasks, u32 n_phases) {
        print_to_stderr();
        run_phases(serial_context(), tasks, n_phases, none, nothing);
    };
    EXPECT_EXIT(run(1, kMaxPhases + 1), testing::ExitedWithCode(1),
                "Invalid Function Parameters:   run_phases\\(\\)\n\n17 phases, 1 tasks");
    EXPECT_EXIT(run(kMaxPhaseTasks + 1, 1), testing::ExitedWithCode(1),
                "Invalid Function Parameters:   run_phases\\(\\)\n\n1 phases, 65 tasks");
}

}  // namespace
