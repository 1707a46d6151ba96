// What a dispatch runs, where, and how it fans out: what holds for every framework, then "none" and "spawn".
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "platform/parallel/bounded_dispatch.h"
#include "platform/parallel/framework_registry.h"
#include "platform/parallel/meeting.h"
#include "platform/parallel/spawn_framework.h"
#include "support/capture_console.h"
#include "support/framework_cases.h"

using namespace trel;

using kalvor_test::Recorder;

namespace {

// Records the flat dispatches that a range is cut into, and runs them in order.
class RecordingDispatch final : public BoundedParallelizer {
  public:
    using BoundedParallelizer::BoundedParallelizer;
    using BoundedParallelizer::run_in_parallel;
    void run_in_parallel(BasicAction& a, BasicAction& b) override {
        a.run(0);
        b.run(0);
    }
    std::vector<u64> sizes;

  protected:
    void run_flat(BasicAction& action, u64 begin, u64 end) override {
        sizes.push_back(end - begin);
        for (u64 i = begin; i < end; i++) action.run(i);
    }
};

class FrameworksTest : public ::testing::TestWithParam<kalvor_test::FrameworkCase> {
  protected:
    kalvor_test::FrameworkUnderTest framework_ = GetParam().make();
};

}  // namespace

TEST_P(FrameworksTest, EveryIndexRunsOnce) {
    for (const u64 n : {2, 3, 7, 15, 16, 17, 18, 63, 64, 65, 66, 127, 300}) {
        Recorder recorder(n + 10);
        framework_->run_in_parallel(recorder, 5, 5 + n);
        recorder.expect_once(5, 5 + n);
    }
}

TEST_P(FrameworksTest, EmptyRangeDoesNothing) {
    Recorder recorder(10);
    framework_->run_in_parallel(recorder, 5, 5);
    framework_->run_in_parallel(recorder, 7, 5);
    recorder.expect_once(0, 0);
}

TEST_P(FrameworksTest, OneIndexRunsInTheCallingThread) {
    Recorder recorder(10);
    framework_->run_in_parallel(recorder, 5, 6);
    recorder.expect_once(5, 6);
    EXPECT_EQ(recorder.in_caller_, std::vector<u64>{5});
}

TEST_P(FrameworksTest, ForkJoinRunsBothWithIndexZero) {
    Recorder a(1), b(1);
    framework_->run_in_parallel(a, b);
    a.expect_once(0, 1);
    b.expect_once(0, 1);
    if (GetParam().caller_runs_first) {
        EXPECT_EQ(a.in_caller_.size(), 1U);
    }
}

TEST_P(FrameworksTest, NestedDispatchesFinish) {
    kalvor_test::run_tree(*framework_, 3);
}

TEST_P(FrameworksTest, ResultsOfTasksAreVisibleToTheCaller) {
    for (u64 round = 0; round < 20; round++) {
        std::vector<u64> out(40, 0);
        const ParallelContext parallel{framework_.get(), 40};
        parallel_for(parallel, out.size(), [&](u64 i) { out[i] = i * i + round; });
        for (u64 i = 0; i < out.size(); i++) ASSERT_EQ(out[i], i * i + round);
        u64 x = 0, y = 0;
        fork_join(
            parallel, [&] { x = round + 1; }, [&] { y = round + 2; });
        ASSERT_EQ(x, round + 1);
        ASSERT_EQ(y, round + 2);
    }
}

TEST_P(FrameworksTest, ExceptionOfTheCallersShareReachesTheCaller) {
    // The first task that comes to the calling thread throws; the others have finished when the exception
    // arrives.
    struct Thrower final : BasicAction {
        void run(u64) override {
            if (std::this_thread::get_id() == caller && !thrown) {
                thrown = true;
                throw InvalidParametersException("Thrower::run()", "first");
            }
            done++;
        }
        const std::thread::id caller = std::this_thread::get_id();
        bool thrown = false;
        std::atomic<int> done{0};
    } thrower;
    // Tasks that one thread of "tbb" leaves to others may all be done before the caller comes to any.
    const auto dispatch_until_thrown = [&](int tasks, auto dispatch) {
        for (int rounds = 0; rounds < 1000 && !thrower.thrown; rounds++) {
            thrower.done = 0;
            bool caught = false;
            try {
                dispatch();
            } catch (const InvalidParametersException&) {
                caught = true;
            }
            ASSERT_EQ(caught, thrower.thrown);
            if (std::string_view(GetParam().name) == "none") continue;  // the caller is all there is
            ASSERT_EQ(thrower.done.load(), tasks - (caught ? 1 : 0));
        }
        EXPECT_TRUE(thrower.thrown);
        thrower.thrown = false;
    };
    dispatch_until_thrown(10, [&] { framework_->run_in_parallel(thrower, 0, 10); });
    dispatch_until_thrown(2, [&] { framework_->run_in_parallel(thrower, thrower); });
}

TEST_P(FrameworksTest, DispatchesFromSeveralThreads) {
    std::vector<std::thread> callers;
    std::atomic<u64> sum{0};
    for (u64 t = 0; t < 4; t++) {
        callers.emplace_back([&] {
            for (int round = 0; round < 10; round++) {
                parallel_for(ParallelContext{framework_.get(), 8}, 8, [&](u64 i) {
                    fork_join(
                        ParallelContext{framework_.get(), 2}, [&] { sum += i; }, [&] { sum += 1; });
                });
            }
        });
    }
    for (std::thread& caller : callers) caller.join();
    EXPECT_EQ(sum.load(), 4U * 10 * (28 + 8));
}

TEST_P(FrameworksTest, IdleThreadsComeBack) {
    for (int round = 0; round < 5; round++) {
        Recorder recorder(20);
        framework_->run_in_parallel(recorder, 0, 20);
        recorder.expect_once(0, 20);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));  // longer than any worker spins
    }
}

INSTANTIATE_TEST_SUITE_P(All, FrameworksTest, ::testing::ValuesIn(kalvor_test::framework_cases()),
                         [](const auto& info) { return info.param.label(); });

// Every task waits inside for tasks of its own: whatever the number of workers, somebody must always be able
// to go on.
class NestedDispatchTest : public FrameworksTest {};

TEST_P(NestedDispatchTest, DepthEightOf65536Leaves) {
    kalvor_test::run_tree(*framework_, 8);
}

INSTANTIATE_TEST_SUITE_P(All, NestedDispatchTest, ::testing::ValuesIn(kalvor_test::framework_cases(false)),
                         [](const auto& info) { return info.param.label(); });
INSTANTIATE_TEST_SUITE_P(SlowAll, NestedDispatchTest, ::testing::ValuesIn(kalvor_test::framework_cases(true)),
                         [](const auto& info) { return info.param.label(); });
INSTANTIATE_TEST_SUITE_P(OtherCounts, NestedDispatchTest,
                         ::testing::ValuesIn(kalvor_test::framework_cases_of_other_counts()),
                         [](const auto& info) { return info.param.label(); });

TEST(NoneFrameworkTest, RunsInOrderInTheCallingThread) {
    const auto framework = make_default_framework_config("none")->make_framework();
    Recorder recorder(20);
    framework->run_in_parallel(recorder, 3, 20);
    for (u64 i = 0; i < 17; i++) ASSERT_EQ(recorder.order_[i], 3 + i);
    EXPECT_EQ(recorder.threads_.size(), 1U);
    EXPECT_EQ(recorder.in_caller_.size(), 17U);
}

TEST(SpawnFrameworkTest, EachTaskButTheLastHasAThreadOfItsOwn) {
    SpawnFramework framework(64);
    Recorder recorder(64);
    framework.run_in_parallel(recorder, 0, 64);
    ASSERT_EQ(recorder.in_caller_, std::vector<u64>{63});
    Recorder first(1), second(1);
    framework.run_in_parallel(first, second);
    ASSERT_EQ(first.in_caller_.size(), 1U);
    ASSERT_EQ(second.in_caller_.size(), 0U);
    for (const u64 n : {2, 16, 17, 64}) {
        // Every task waits for all others: fewer threads than tasks could never finish.
        kalvor_test::Meeting meeting(n);
        framework.run_in_parallel(meeting, 0, n);
        EXPECT_EQ(meeting.missing, 0U);
    }
}

TEST(BoundedDispatchTest, CutsAreAsDerived) {
    const FanOut a = fan_out(65, 64);
    EXPECT_EQ(a.groups, 16U);
    EXPECT_EQ(a.chunk, 5U);
    const FanOut b = fan_out(1000, 4);
    EXPECT_EQ(b.groups, 4U);
    EXPECT_EQ(b.chunk, 250U);
    EXPECT_EQ(fan_out(1000, 1).groups, 4U);  // below 4 counts as 4
    const FanOut c = fan_out(4096, 64);
    EXPECT_EQ(c.groups, 64U);
    EXPECT_EQ(c.chunk, 64U);
    const FanOut d = fan_out(~u64(0), 64);
    EXPECT_EQ(d.groups, 64U);
    EXPECT_EQ(d.chunk, (~u64(0) - 1) / 64 + 1);
    for (u64 n = 2; n < 5000; n++) {
        for (const u64 limit : {4, 5, 64, 1000}) {
            const FanOut cut = fan_out(n, limit);
            ASSERT_GE(cut.groups * cut.chunk, n);
            ASSERT_LE(cut.groups, limit);
            ASSERT_GE(cut.groups, 2U);
            ASSERT_LT(cut.chunk, n == 2 ? 2 : n);
        }
    }
}

TEST(BoundedDispatchTest, FlatUpToTheLimitAndFansOutAbove) {
    {
        RecordingDispatch dispatch(64);
        Recorder recorder(64);
        dispatch.run_in_parallel(recorder, 0, 64);
        EXPECT_EQ(dispatch.sizes, std::vector<u64>{64});
    }
    {
        RecordingDispatch dispatch(64);
        Recorder recorder(65);
        dispatch.run_in_parallel(recorder, 0, 65);
        recorder.expect_once(0, 65);
        // 16 groups of 5: 13 hold something.
        EXPECT_EQ(dispatch.sizes.front(), 16U);
        EXPECT_EQ(dispatch.sizes.size(), 14U);
        EXPECT_EQ(std::count(dispatch.sizes.begin(), dispatch.sizes.end(), 5), 13);
    }
    {
        RecordingDispatch dispatch(4);
        Recorder recorder(1000);
        dispatch.run_in_parallel(recorder, 0, 1000);
        recorder.expect_once(0, 1000);
        // 4 groups of 250, each of them 4 of 63 at most, each of these 4 of 16 at most, each of these 4 of 4
        // at most. Where a 16 is a 13, one of its four holds a single index, which is not a dispatch.
        EXPECT_EQ(*std::max_element(dispatch.sizes.begin(), dispatch.sizes.end()), 4U);
        EXPECT_EQ(dispatch.sizes.size(), 1U + 4 + 16 + 64 + 256 - 4);
    }
}

TEST(SpawnFrameworkTest, DeepFanOutRunsEveryIndexOnce) {
    SpawnFramework framework(4);
    Recorder recorder(1003);
    framework.run_in_parallel(recorder, 3, 1003);
    recorder.expect_once(3, 1003);
}

namespace {

// Dispatches until a task has landed on another thread, where it throws.
template <class Thrown>
void throw_in_child(const kalvor_test::FrameworkCase& framework_case, const Thrown& thrown) {
    Console::set_pause_before_fatal_exit(false);
    print_to_stderr();
    struct Thrower final : BasicAction {
        explicit Thrower(const Thrown& thrown) : thrown(thrown) {}
        void run(u64) override {
            if (std::this_thread::get_id() != caller) throw thrown;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const std::thread::id caller = std::this_thread::get_id();
        const Thrown& thrown;
    } thrower(thrown);
    auto framework = framework_case.make();
    for (int i = 0; i < 2000; i++) {
        framework->run_in_parallel(thrower, 0, 2);
        framework->run_in_parallel(thrower, thrower);
    }
}

class FrameworksDeathTest : public ::testing::TestWithParam<kalvor_test::FrameworkCase> {};

}  // namespace

TEST_P(FrameworksDeathTest, ExceptionsOfChildThreadsEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string line = GetParam().closing_line;
    EXPECT_EXIT(throw_in_child(GetParam(), 5), ::testing::ExitedWithCode(1), "^\n" + line + "\n$");
    EXPECT_EXIT(throw_in_child(GetParam(), std::runtime_error("the text")), ::testing::ExitedWithCode(1),
                "^\nthe text\n\n" + line + "\n$");
    const InvalidParametersException bad("Some::function()", "bad");
    EXPECT_EXIT(throw_in_child(GetParam(), bad), ::testing::ExitedWithCode(1),
                "^" + report_pattern(bad) + "\n" + line + "\n$");
}

INSTANTIATE_TEST_SUITE_P(All, FrameworksDeathTest,
                         ::testing::ValuesIn(kalvor_test::threaded_framework_cases()),
                         [](const auto& info) { return info.param.label(); });
