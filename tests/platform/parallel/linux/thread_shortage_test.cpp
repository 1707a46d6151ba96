// A system that gives no more threads: address space for their stacks is what runs out here.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>
#include <thread>

#include "platform/parallel/spawn_framework.h"
#include "support/framework_cases.h"

using namespace trel;
using kalvor_test::Recorder;

// The sanitizers take address space as they like.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
namespace {

constexpr u64 kSpare = 1 << 20;  // less than any stack

void leave_room_for_threads(u64 n) {
    u64 pages = 0;
    std::FILE* const file = std::fopen("/proc/self/statm", "r");
    if (!file || std::fscanf(file, "%llu", &pages) != 1) std::_Exit(3);
    std::fclose(file);
    pthread_attr_t defaults;
    size_t stack = 0;
    pthread_attr_init(&defaults);
    pthread_attr_getstacksize(&defaults, &stack);
    const rlim_t bytes = pages * static_cast<u64>(getpagesize()) + n * stack + kSpare;
    const rlimit limit{bytes, bytes};
    if (setrlimit(RLIMIT_AS, &limit) != 0) std::_Exit(4);
}

// Says what a dispatch of ten tasks and a fork-join came to, and ends.
void dispatch_without_threads(const kalvor_test::FrameworkCase& framework_case) {
    leave_room_for_threads(0);
    auto framework = framework_case.make();
    for (const bool fork_join : {false, true}) {
        Recorder recorder(10);
        try {
            if (fork_join)
                framework->run_in_parallel(recorder, recorder);
            else
                framework->run_in_parallel(recorder, 0, 10);
            std::fprintf(stderr, "%zu of %zu here. ", recorder.in_caller_.size(), recorder.order_.size());
        } catch (const std::system_error& e) {
            std::fprintf(stderr, "refused: %d. ", e.code().value());
        }
    }
    std::_Exit(0);
}

class ThreadShortageDeathTest : public ::testing::TestWithParam<kalvor_test::FrameworkCase> {};

std::vector<kalvor_test::FrameworkCase> cases() {
    std::vector<kalvor_test::FrameworkCase> some;
    for (const kalvor_test::FrameworkCase& one : kalvor_test::framework_cases()) {
        if (one.name != "tbb") some.push_back(one);  // what a library does is its own affair
    }
    return some;
}

}  // namespace

// Frameworks with workers do without them; those that need a thread for every task tell the caller.
TEST_P(ThreadShortageDeathTest, TasksRunInTheCallerOrTheCallerIsTold) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const bool refuses = GetParam().thread_per_task() && GetParam().settings.empty();
    EXPECT_EXIT(dispatch_without_threads(GetParam()), ::testing::ExitedWithCode(0),
                refuses ? "^refused: 11. refused: 11. $" : "^10 of 10 here. 2 of 2 here. $");
}

INSTANTIATE_TEST_SUITE_P(All, ThreadShortageDeathTest, ::testing::ValuesIn(cases()),
                         [](const auto& info) { return info.param.label(); });

// What was started before the system refused has finished when the caller hears of it.
TEST(ThreadShortageDeathTest, SpawnWaitsForWhatItHasStarted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto dispatch = [] {
        leave_room_for_threads(2);
        SpawnFramework framework(64);
        Recorder recorder(40);
        // Long enough that none of them would be through by chance.
        struct Slow final : BasicAction {
            explicit Slow(Recorder& recorder) : recorder(recorder) {}
            void run(u64 index) override {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                recorder.run(index);
            }
            Recorder& recorder;
        } slow(recorder);
        try {
            framework.run_in_parallel(slow, 0, 40);
        } catch (const std::system_error&) {
            recorder.expect_once(0, 2);
            std::fprintf(stderr, "%zu started, %zu threads.", recorder.order_.size(),
                         recorder.threads_.size());
            std::_Exit(testing::Test::HasFailure() ? 1 : 0);
        }
        std::_Exit(2);
    };
    EXPECT_EXIT(dispatch(), ::testing::ExitedWithCode(0), "^2 started, 2 threads.$");
}
#endif
