// Work that an interrupt stops, work that does not stop, and work that fails after it was asked to.
#include "platform/parallel/interruptible_run.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

using namespace trel;

namespace {

constexpr int kOverdue = 77;

void wait_for_the_request(const RunMonitor& monitor) {
    while (!monitor.stop.requested()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

TEST(InterruptibleRunTest, SaysWhetherItWasInterrupted) {
    RunMonitor monitor;
    EXPECT_FALSE(run_interruptible(monitor, [] {}));
    EXPECT_TRUE(run_interruptible(monitor, [&] {
        raise(SIGINT);
        wait_for_the_request(monitor);
        throw RunStopped();
    }));
}

TEST(InterruptibleRunTest, AnotherExceptionWinsOverAStop) {
    RunMonitor monitor;
    EXPECT_THROW(run_interruptible(monitor,
                                   [&] {
                                       raise(SIGINT);
                                       wait_for_the_request(monitor);
                                       throw std::runtime_error("a failure");
                                   }),
                 std::runtime_error);
}

// The function of the caller is called, and not the end of the process without a word.
TEST(InterruptibleRunDeathTest, WorkThatGoesOnIsOverdue) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            RunMonitor monitor;
            run_interruptible(
                monitor,
                [] {
                    raise(SIGINT);
                    std::this_thread::sleep_for(std::chrono::minutes(1));
                },
                [] { _exit(kOverdue); });
        },
        testing::ExitedWithCode(kOverdue), "");
}

}  // namespace
