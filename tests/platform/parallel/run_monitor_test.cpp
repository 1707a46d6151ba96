#include "platform/parallel/run_monitor.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/parallel/basic_parallelizer.h"
#include "support/framework_cases.h"

using namespace trel;
using namespace kalvor_test;

namespace {

class RunMonitorTest : public testing::TestWithParam<FrameworkCase> {};

// Leaves of a tree of dispatches; the one whose turn comes at `stop_at` asks to stop.
struct Tree {
    ParallelContext parallel;
    RunMonitor& run_monitor;
    const int stop_at;
    std::atomic<int> leaves{0};

    void run(int depth) {
        parallel.poll();
        if (depth == 0) {
            if (leaves++ == stop_at) run_monitor.stop.request();
            return;
        }
        if (depth % 2 == 0) {
            parallel_for(parallel, 4, [&](u64) { run(depth - 1); });
        } else {
            fork_join(
                parallel, [&] { run(depth - 1); }, [&] { run(depth - 1); });
        }
    }
};

}  // namespace

TEST_P(RunMonitorTest, NestedTasksEndAndTheCallerLearnsOfIt) {
    const FrameworkUnderTest framework = GetParam().make();
    const int depth = GetParam().thread_per_task() ? 4 : 6;
    const int all = GetParam().thread_per_task() ? 64 : 512;
    RunMonitor monitor;
    Tree tree{{framework.get(), 4, &monitor}, monitor, 7};
    EXPECT_THROW(tree.run(depth), RunStopped);
    EXPECT_GE(tree.leaves, 8);
    EXPECT_LT(tree.leaves, all);

    // The framework goes on to serve other runs.
    RunMonitor never;
    Tree next{{framework.get(), 4, &never}, never, -1};
    next.run(depth);
    EXPECT_EQ(next.leaves, all);
}

// Also when the last task is the one that asks.
TEST_P(RunMonitorTest, ARequestDuringTheLastTaskIsSeenByTheDispatch) {
    const FrameworkUnderTest framework = GetParam().make();
    RunMonitor monitor;
    const ParallelContext parallel{framework.get(), 4, &monitor};
    EXPECT_THROW(parallel_for(parallel, 4, [&](u64) { monitor.stop.request(); }), RunStopped);
    RunMonitor other;
    EXPECT_THROW(fork_join(
                     {framework.get(), 2, &other}, [] {}, [&] { other.stop.request(); }),
                 RunStopped);
}

INSTANTIATE_TEST_SUITE_P(Frameworks, RunMonitorTest, testing::ValuesIn(framework_cases()),
                         [](const auto& info) { return info.param.label(); });

TEST(ParallelContextTest, FewerTasksKeepTheFlag) {
    RunMonitor monitor;
    const ParallelContext parallel = ParallelContext{serial_context().framework, 8, &monitor}.with_tds(0);
    EXPECT_EQ(parallel.tds, 1u);
    EXPECT_FALSE(parallel.inner_unchecked);
    ParallelContext inner = parallel;
    inner.inner_unchecked = true;
    EXPECT_TRUE(inner.with_tds(3).inner_unchecked);
    parallel.poll();
    monitor.stop.request();
    EXPECT_THROW(parallel.poll(), RunStopped);
    EXPECT_NO_THROW(serial_context().poll());
}

// The items need not poll.
TEST(ParallelContextTest, OneTaskStopsBetweenItsItems) {
    RunMonitor monitor;
    const ParallelContext parallel{serial_context().framework, 1, &monitor};
    int runs = 0;
    const auto item = [&](u64) {
        if (++runs == 10) monitor.stop.request();
    };
    EXPECT_THROW(parallel_for(parallel, 100, item), RunStopped);
    EXPECT_EQ(runs, 10);
}

TEST(ParallelContextTest, OneTaskStopsBehindItsLastItem) {
    for (const u64 tds : {1, 4}) {
        RunMonitor monitor;
        const ParallelContext parallel{serial_context().framework, tds, &monitor};
        EXPECT_THROW(parallel_for(parallel, 1, [&](u64) { monitor.stop.request(); }), RunStopped);
    }
}

TEST(ParallelContextTest, TasksThatHaveNotBegunDoNotBegin) {
    RunMonitor monitor;
    const ParallelContext parallel{serial_context().framework, 4, &monitor};
    int runs = 0;
    const auto item = [&](u64) {
        if (++runs == 3) monitor.stop.request();
    };
    EXPECT_THROW(parallel_for(parallel, 100, item), RunStopped);
    EXPECT_EQ(runs, 3);

    RunMonitor other;
    bool second = false;
    EXPECT_THROW(
        fork_join(
            {serial_context().framework, 2, &other}, [&] { other.stop.request(); }, [&] { second = true; }),
        RunStopped);
    EXPECT_FALSE(second);
}
