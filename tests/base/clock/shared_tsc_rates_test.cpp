#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "base/clock/tsc_frequency.h"
#include "support/capture_console.h"

using namespace trel;

namespace {

std::atomic<int> n_measured{0};
std::atomic<bool> may_pass{true};
std::atomic<u64> time_now{1000};
std::atomic<u64> frequency{1600};

// 1000 ticks of the time-stamp counter a step of the clock, which makes 100 of them in an interval.
FrequencyCalls fake() {
    return {[](std::vector<u32>& processors) {
                processors = {0};
                return os::OsError{};
            },
            [](const std::vector<u32>&) { return os::OsError{}; },
            [] { return time_now * 1000; },
            [] { return time_now.load(); },
            [] { return frequency.load(); },
            [] { return time_now * 1000000; },
            [](double) {
                n_measured++;
                while (!may_pass) std::this_thread::yield();
                time_now += 100;
                return true;
            }};
}

class SharedTscRatesTest : public testing::Test {
  protected:
    void SetUp() override {
        n_measured = 0;
        may_pass = true;
        frequency = 1600;
    }
};
using SharedTscRatesDeathTest = SharedTscRatesTest;

}  // namespace

TEST_F(SharedTscRatesTest, OneMeasurementServesAll) {
    SharedTscRates rates(fake());
    EXPECT_EQ(rates.look(), nullptr);
    std::vector<std::thread> threads;
    std::atomic<int> right{0};
    for (int i = 0; i < 4; i++)
        threads.emplace_back([&] { right += rates.wait().by_performance_counter == 1600000; });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(right, 4);
    EXPECT_EQ(rates.wait().by_system_clock, 1000000u);
    EXPECT_EQ(n_measured, 1);
    const SharedTscRates::Measuring again(rates);
    EXPECT_EQ(n_measured, 1);
}

TEST_F(SharedTscRatesTest, TheCallerGoesOnMeanwhile) {
    SharedTscRates rates(fake());
    may_pass = false;
    std::atomic<u64> told{0};
    {
        const SharedTscRates::Measuring measuring(rates);
        const SharedTscRates::Measuring another(rates);
        EXPECT_EQ(rates.look(), nullptr);
        rates.when_there([&](const TscRates* there) { told = there->by_performance_counter; });
        EXPECT_EQ(told, 0u);
        may_pass = true;
        EXPECT_EQ(rates.wait().by_performance_counter, 1600000u);
        EXPECT_NE(rates.look(), nullptr);
    }
    EXPECT_EQ(told, 1600000u);
    EXPECT_EQ(n_measured, 1);
}

// What ends early does not wait for the interval. A machine that is busy elsewhere meanwhile proves nothing.
TEST_F(SharedTscRatesTest, AbandonedWhenNobodyIsLeftWhoWantsThem) {
    bool abandoned = false;
    for (int attempt = 0; attempt < 1000 && !abandoned; attempt++) {
        SharedTscRates rates(FrequencyCalls::of_this_machine());
        int told = 0;
        {
            const SharedTscRates::Measuring measuring(rates);
            rates.when_there([&](const TscRates* there) {
                told++;
                abandoned = there == nullptr;
            });
        }
        ASSERT_EQ(told, 1);
        if (abandoned) {
            EXPECT_EQ(rates.look(), nullptr);
            // Whoever asks later gets them.
            EXPECT_GT(rates.wait().by_performance_counter, 0u);
        }
    }
    EXPECT_TRUE(abandoned);
}

TEST_F(SharedTscRatesTest, WithoutAThreadWhoeverAsksMeasures) {
    SharedTscRates rates(fake());
    u64 told = 0;
    rates.when_there([&](const TscRates* there) { told = there->by_system_clock; });
    EXPECT_EQ(told, 1000000u);
    EXPECT_EQ(n_measured, 1);
}

TEST_F(SharedTscRatesDeathTest, AFailureIsOfWhoeverNeedsTheRates) {
    SharedTscRates rates(fake());
    frequency = 0;
    {
        CaptureConsole console;
        const SharedTscRates::Measuring measuring(rates);
        bool failed = false;
        rates.when_there([&](const TscRates* there) { failed = there->failure != nullptr; });
        while (rates.look() == nullptr) std::this_thread::yield();
        EXPECT_EQ(console.take(), "");
    }
    const auto wait = [&] {
        print_to_stderr();
        rates.wait();
    };
    EXPECT_EXIT(wait(), testing::ExitedWithCode(1), "\nUnable to measure clock speed.\n");
}
