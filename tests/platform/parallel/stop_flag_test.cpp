#include "platform/parallel/stop_flag.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/parallel/basic_parallelizer.h"
#include "support/framework_cases.h"

using namespace trel;
using namespace trel_test;

namespace {

class StopFlagTest : public testing::TestWithParam<FrameworkCase> {};

// Leaves of a tree of dispatches; the one whose turn comes at `stop_at` asks to stop.
struct Tree {
    ParallelContext context;
    StopFlag& stop;
    const int stop_at;
    std::atomic<int> leaves{0};

    void run(int depth) {
        context.poll();
        if (depth == 0) {
            if (leaves++ == stop_at) stop.request();
            return;
        }
        if (depth % 2 == 0) {
            parallel_for(context, 4, [&](u64) { run(depth - 1); });
        } else {
            fork_join(
                context, [&] { run(depth - 1); }, [&] { run(depth - 1); });
        }
    }
};

}  // namespace

TEST_P(StopFlagTest, NestedTasksEndAndTheCallerLearnsOfIt) {
    const FrameworkUnderTest framework = GetParam().make();
    const int depth = GetParam().thread_per_task() ? 4 : 6;
    const int all = GetParam().thread_per_task() ? 64 : 512;
    StopFlag stop;
    Tree tree{{framework.get(), 4, &stop}, stop, 7};
    EXPECT_THROW(tree.run(depth), RunStopped);
    EXPECT_GE(tree.leaves, 8);
    EXPECT_LT(tree.leaves, all);

    // The framework goes on to serve other runs.
    StopFlag never;
    Tree next{{framework.get(), 4, &never}, never, -1};
    next.run(depth);
    EXPECT_EQ(next.leaves, all);
}

// Also when the last task is the one that asks.
TEST_P(StopFlagTest, ARequestDuringTheLastTaskIsSeenByTheDispatch) {
    const FrameworkUnderTest framework = GetParam().make();
    StopFlag stop;
    const ParallelContext context{framework.get(), 4, &stop};
    EXPECT_THROW(parallel_for(context, 4, [&](u64) { stop.request(); }), RunStopped);
    StopFlag other;
    EXPECT_THROW(fork_join(
                     {framework.get(), 2, &other}, [] {}, [&] { other.request(); }),
                 RunStopped);
}

INSTANTIATE_TEST_SUITE_P(Frameworks, StopFlagTest, testing::ValuesIn(framework_cases()),
                         [](const auto& info) { return info.param.label(); });

TEST(ParallelContextTest, FewerTasksKeepTheFlag) {
    StopFlag stop;
    const ParallelContext context = ParallelContext{serial_context().framework, 8, &stop}.with_tds(0);
    EXPECT_EQ(context.tds, 1u);
    context.poll();
    stop.request();
    EXPECT_THROW(context.poll(), RunStopped);
    EXPECT_NO_THROW(serial_context().poll());
}

TEST(ParallelContextTest, OneTaskStopsBetweenItsItems) {
    StopFlag stop;
    const ParallelContext context{serial_context().framework, 1, &stop};
    int runs = 0;
    EXPECT_THROW(parallel_for(context, 100,
                              [&](u64) {
                                  context.poll();
                                  if (++runs == 10) stop.request();
                              }),
                 RunStopped);
    EXPECT_EQ(runs, 10);
}
