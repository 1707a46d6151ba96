#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <thread>

#include "base/clock/cpu_utilization.h"
#include "base/clock/date_text.h"
#include "base/clock/timer.h"
#include "base/clock/tsc_frequency.h"
#include "os/affinity.h"
#include "os/cpu.h"
#include "support/capture_console.h"

using namespace trel;

TEST(TscFrequencyTest, AgreesWithThePerformanceCounterAndIsCached) {
    std::vector<u32> before, after;
    ASSERT_FALSE(os::get_thread_affinity(before).failed());
    const u64 frequency = measure_tsc_frequency();
    ASSERT_FALSE(os::get_thread_affinity(after).failed());
    EXPECT_EQ(after, before);  // unpinned again
    EXPECT_GT(frequency, 100000000u);
    EXPECT_LT(frequency, 20000000000u);
    EXPECT_EQ(measure_tsc_frequency(), frequency);

    const WallTimer timer;
    const u64 tsc = os::read_tsc();
    while (timer.seconds() < 0.05) {
    }
    const u64 ticks = os::read_tsc() - tsc;
    const double by_tsc = static_cast<double>(ticks) / static_cast<double>(frequency);
    // Loose: the machine may take the processor away between the two readings.
    EXPECT_NEAR(by_tsc, timer.seconds(), 0.05);
    EXPECT_GE(by_tsc, 0.049);
}

TEST(ProcessTimerTest, CountsTheWorkOfAllThreads) {
    const ProcessTimer timer;
    auto work = [] {
        const os::ProcessTimes start = os::process_times();
        volatile double x = 1;
        while (os::process_times().user + os::process_times().kernel < start.user + start.kernel + 0.03) {
            for (int i = 0; i < 1000; i++) x = x * 1.0000001;
        }
    };
    std::thread thread(work);
    work();
    thread.join();
    const TimeSpan span = timer.elapsed();
    EXPECT_GE(span.processor(), 0.0299);  // 0.03 but for rounding
    EXPECT_GT(span.wall, 0);
    EXPECT_GE(span.user, 0);
    EXPECT_GE(span.kernel, 0);
    EXPECT_LE(span.processor(), span.wall * os::active_processor_count() * 1.5 + 0.1);
}

namespace {
void print_lines(const std::array<std::vector<Console::ColoredText>, 2>& lines) {
    for (const auto& pieces : lines) {
        for (const Console::ColoredText& piece : pieces) Console::print(piece.text, piece.color);
        Console::new_line();
    }
}
}  // namespace

TEST(CpuUtilizationTest, Report) {
    CaptureConsole console(CaptureConsole::terminal, true);
    print_lines(cpu_utilization_lines(cpu_utilization({10.0, 19.0, 0.5}, 2)));
    EXPECT_EQ(console.take(),
              "{w}CPU Utilization:        {Y}  195.00{w} %  +  {P}  5.00{w} % kernel overhead\n"
              "{w}Multi-core Efficiency:  {Y}   97.50{w} %  +  {P}  2.50{w} % kernel overhead\n");
    print_lines(cpu_utilization_lines(cpu_utilization({10.0, 0, 0}, 2)));
    EXPECT_EQ(console.take(),
              "{w}CPU Utilization:        Too Fast to Measure\n"
              "{w}Multi-core Efficiency:  Too Fast to Measure\n");
    print_lines(cpu_utilization_lines(cpu_utilization({1.0, 2.0, -0.5}, 0)));
    EXPECT_EQ(console.take(),
              "{w}CPU Utilization:        {Y}  150.00{w} %\n"
              "{w}Multi-core Efficiency:  {Y}  150.00{w} %\n");
    // Widths are lower bounds.
    print_lines(cpu_utilization_lines(cpu_utilization({1.0, 123456.0, 9999.0}, 1)));
    EXPECT_EQ(console.take(),
              "{w}CPU Utilization:        {Y}13345500.00{w} %  +  {P}999900.00{w} % kernel overhead\n"
              "{w}Multi-core Efficiency:  {Y}13345500.00{w} %  +  {P}999900.00{w} % kernel overhead\n");
    // By itself it counts the processors of the machine.
    const TimeSpan span{10.0, 19.0, 0.5};
    print_lines(cpu_utilization_lines(span));
    const std::string here = console.take();
    print_lines(cpu_utilization_lines(cpu_utilization(span, os::active_processor_count())));
    EXPECT_EQ(here, console.take());
}

TEST(CpuUtilizationTest, WithoutWallTimeThereIsNoShare) {
    EXPECT_FALSE(cpu_utilization({0, 1.0, 0.5}, 2).measurable);
    EXPECT_FALSE(cpu_utilization({1.0, -1.0, 0.5}, 2).measurable);
}

TEST(DateTextTest, HasTheFormOfAsctime) {
    EXPECT_EQ(date_time_text({2026, 3, 1, 0, 9, 5, 7}), "Sun Mar  1 09:05:07 2026");
    for (i64 t = 0; t < 4000000000; t += 98765433) {
        const time_t c_time = static_cast<time_t>(t);
        std::string text = std::asctime(std::localtime(&c_time));
        if (text[8] == '0') text[8] = ' ';  // some libraries write the day with two digits
        EXPECT_EQ(date_time_text(os::local_time(t)) + "\n", text);
    }
}

TEST(ProcessorsTest, AreThoseOfTheAffinityMask) {
    std::vector<u32> mine;
    ASSERT_FALSE(os::get_thread_affinity(mine).failed());
    // A thread is in one group at a time.
    EXPECT_EQ(os::active_processors(os::current_processor_group()), mine);
    std::vector<u32> of_groups;
    ASSERT_GE(os::processor_group_count(), 1u);
    for (u32 group = 0; group < os::processor_group_count(); group++) {
        const std::vector<u32> some = os::active_processors(group);
        of_groups.insert(of_groups.end(), some.begin(), some.end());
    }
    const std::vector<u32> all = os::active_processors();
    EXPECT_EQ(all, of_groups);
    EXPECT_EQ(os::active_processor_count(), all.size());
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));

    // Pinning one thread changes neither the others nor the counts.
    std::vector<u32> pinned;
    std::thread([&] {
        EXPECT_FALSE(os::set_thread_affinity({mine.back()}).failed());
        EXPECT_FALSE(os::get_thread_affinity(pinned).failed());
    }).join();
    EXPECT_EQ(pinned, std::vector<u32>{mine.back()});
    EXPECT_EQ(os::active_processors(), all);
    EXPECT_TRUE(os::set_thread_affinity({}).failed());
    EXPECT_TRUE(os::set_thread_affinity({100000}).failed());
}
