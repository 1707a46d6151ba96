// The part of a run that is done, the time that is left, and how the progress line shows them.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/status/linear_console_node.h"
#include "base/status/linear_network_node.h"
#include "base/status/progress_estimate.h"
#include "base/status/progress_ticker.h"
#include "base/status/silent_status.h"
#include "base/status/status_scope.h"
#include "support/capture_console.h"

using namespace trel;

namespace {

WorkMeter three_phases() {
    return WorkMeter({{"memory", 10, 0, false}, {"series", 60, 600}, {"writing", 30, 3000}});
}

// A clock of 1000 ticks a second that a test sets.
struct FakeClock {
    u64 now = 1000000;
    void pass(double seconds) { now += static_cast<u64>(seconds * 1000); }
    double frequency = 1000;
    ProgressCalls calls{[this] { return now; }, [this] { return frequency; }};
};

// A terminal of so many columns that notes how its lines are erased.
class TerminalSink final : public Console::Sink {
  public:
    explicit TerminalSink(u64 columns) : columns_(columns), before_(Console::set_sink(this)) {}
    ~TerminalSink() override { Console::set_sink(before_); }
    void write(std::string_view text) override { text_ += text; }
    void set_color(Console::ColorLetter) override {}
    bool is_terminal() const override { return true; }
    u64 columns() const override { return columns_; }
    void erase_line(u64) override { text_ += "<"; }
    std::string take() {
        std::string out;
        out.swap(text_);
        return out;
    }

  private:
    u64 columns_;
    Console::Sink* before_;
    std::string text_;
};

}  // namespace

TEST(WorkMeterTest, PhasesWeighWhatTheModelExpects) {
    WorkMeter meter = three_phases();
    EXPECT_EQ(meter.read().done, 0);
    EXPECT_EQ(meter.read().total, 100);
    meter.enter("memory");
    EXPECT_EQ(meter.read().done, 0);
    EXPECT_EQ(meter.read().phase_end, 10);
    EXPECT_FALSE(meter.read().rated);
    meter.enter("series");
    EXPECT_EQ(meter.read().phase, "series");
    EXPECT_EQ(meter.read().done, 10);
    EXPECT_TRUE(meter.read().rated);
    meter.add(300);
    EXPECT_EQ(meter.read().done, 40);
    meter.add(-1);
    meter.add(1e6);  // no more than the phase has
    EXPECT_EQ(meter.read().done, 70);
    meter.enter("nothing of the kind");
    EXPECT_EQ(meter.read().phase, "series");
    meter.enter("writing");
    EXPECT_EQ(meter.read().done, 70);
    meter.enter("series");  // is behind
    EXPECT_EQ(meter.read().phase, "writing");
    EXPECT_EQ(WorkMeter({}).read().total, 0);
}

TEST(WorkMeterTest, PhasesOfOneNameFollowEachOther) {
    WorkMeter meter({{"writing", 1, 10}, {"reading", 1, 10}, {"writing", 2, 10}});
    for (const double done : {0.0, 2.0}) {
        meter.enter("writing");
        EXPECT_EQ(meter.read().done, done);
    }
}

TEST(WorkMeterTest, TasksOfAnyThreadAdd) {
    WorkMeter meter({{"series", 1, 4000}});
    meter.enter("series");
    LinearConsoleNode node(79, 1.0);
    node.set_work(&meter);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back([&node] {
            SilentStatus silent(node.work());
            for (int j = 0; j < 500; j++) silent.push_node({'w', "x"}).work().add(1);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(meter.read().done, 0.5);
    node.set_work(nullptr);
    EXPECT_FALSE(node.work());
    node.work().add(1);
    EXPECT_FALSE(null_status().work());
}

TEST(ProgressEstimateTest, TheTimeSoFarTellsTheSpeed) {
    WorkMeter meter = three_phases();
    ProgressEstimate estimate;
    meter.enter("memory");
    EXPECT_LT(estimate.look(meter.read(), 1).left, 0);
    EXPECT_LT(estimate.look(meter.read(), 50).left, 0);  // says nothing of what follows
    meter.enter("series");
    EXPECT_LT(estimate.look(meter.read(), 51).left, 0);
    meter.add(150);  // 15 of 90 expected seconds in 30
    ProgressView view = estimate.look(meter.read(), 80);
    EXPECT_EQ(view.phase, "series");
    EXPECT_NEAR(view.fraction, 0.25, 1e-9);
    EXPECT_NEAR(view.left, 150, 1e-9);
    // Until the next piece is done the run goes on as before, but not beyond its phase.
    view = estimate.look(meter.read(), 90);
    EXPECT_NEAR(view.fraction, 0.30, 1e-9);
    EXPECT_NEAR(view.left, 140, 1e-9);
    view = estimate.look(meter.read(), 5000);
    EXPECT_NEAR(view.fraction, 0.70, 1e-9);
    EXPECT_NEAR(view.left, 60, 1e-9);
}

TEST(ProgressEstimateTest, TooLittleTellsNothing) {
    WorkMeter meter({{"series", 100, 1000}});
    ProgressEstimate estimate;
    EXPECT_LT(estimate.look(meter.read(), 0).left, 0);
    meter.enter("series");
    meter.add(4);
    EXPECT_LT(estimate.look(meter.read(), 10).left, 0);
    meter.add(1);
    EXPECT_NEAR(estimate.look(meter.read(), 10).left, 1990, 1e-9);
}

TEST(ProgressEstimateTest, TheWarmUpIsLeftOut) {
    WorkMeter meter({{"series", 100, 1000}});
    meter.enter("series");
    ProgressEstimate estimate;
    estimate.look(meter.read(), 0);
    meter.add(30);  // three hundredths, ten times as slow as the rest
    EXPECT_NEAR(estimate.look(meter.read(), 30).left, 970, 1e-9);
    meter.add(5);
    EXPECT_NEAR(estimate.look(meter.read(), 30.5).left, 96.5 / 3.5 * 30.5, 1e-9);  // not enough behind it
    meter.add(5);
    EXPECT_NEAR(estimate.look(meter.read(), 31).left, 96, 1e-9);
}

TEST(ProgressEstimateTest, Texts) {
    EXPECT_EQ(duration_text(-1), "0 s");
    EXPECT_EQ(duration_text(23.6), "24 s");
    EXPECT_EQ(duration_text(99.4), "99 s");
    EXPECT_EQ(duration_text(100), "1 min 40 s");
    EXPECT_EQ(duration_text(5999), "99 min 59 s");
    EXPECT_EQ(duration_text(6000), "1 h 40 min");
    EXPECT_EQ(duration_text(2 * 86400), "2 d 0 h");
    EXPECT_EQ(progress_text({"series", 12, 0.359, 23.9}), "series, run 35 %, about 24 s left");
    EXPECT_EQ(progress_text({"series", 1, 0.001, -1}), "series, run 0 %");
    EXPECT_EQ(progress_text({"series", 1.999, 0.359, 23.9}), "series, run 35 %");
    EXPECT_EQ(progress_text({"series", 2, 0.359, 23.9}), "series, run 35 %, about 24 s left");
}

// What is over in a moment needs no estimate of it.
TEST(ProgressLineTest, TheTimeLeftIsShownAfterTwoSeconds) {
    FakeClock clock;
    TerminalSink terminal(0);
    LinearConsoleNode node(79, 0, clock.calls);
    WorkMeter meter({{"reading", 10, 100}});
    const StatusWork work(node, &meter);
    meter.enter("reading");
    StatusFrame frame(node, "A");
    const auto shown = [&](double seconds, double work) {
        clock.pass(seconds);
        meter.add(work);
        terminal.take();
        node.tick();
        return terminal.take();
    };
    EXPECT_EQ(shown(1, 10), "<A  1 s, reading, run 10 %");
    EXPECT_EQ(shown(0.9, 10), "<A  2 s, reading, run 20 %");
    EXPECT_EQ(shown(0.1, 20), "<A  2 s, reading, run 40 %, about 2 s left");
}

TEST(ProgressLineTest, EndsWithTheWholeRun) {
    FakeClock clock;
    TerminalSink terminal(0);
    LinearConsoleNode node(79, 1.0, clock.calls);
    WorkMeter meter({{"series", 60, 600}, {"writing", 40, 1}});
    const StatusWork work(node, &meter);
    StatusFrame frame(node, "Series: A 3");
    EXPECT_EQ(terminal.take(), "<Series: A 3  0 s, run 0 %");
    meter.enter("series");
    meter.add(350);
    clock.pass(12);
    node.refresh();
    EXPECT_EQ(terminal.take(), "<Series: A 3  12 s, series, run 35 %, about 22 s left");
    clock.pass(0.5);
    node.refresh();
    EXPECT_EQ(terminal.take(), "");
    node.tick();  // from the thread that waits for the interval itself
    EXPECT_EQ(terminal.take(), "<Series: A 3  13 s, series, run 36 %, about 22 s left");
    node.Status_Line("text");
    EXPECT_EQ(terminal.take(), "<text\n");
}

// Nothing reaches the last column, after which a terminal goes on to the next line.
TEST(ProgressLineTest, FitsTheTerminal) {
    for (const u64 columns : {1, 5, 20, 30, 40, 60, 79, 80, 81, 200}) {
        FakeClock clock;
        TerminalSink terminal(columns);
        LinearConsoleNode node(79, 0, clock.calls);
        WorkMeter meter({{"series", 60, 600}, {"writing", 40, 1}});
        const StatusWork work(node, &meter);
        meter.enter("series");
        StatusFrame a(node, "Series: A 3");
        meter.add(350);
        clock.pass(12);
        StatusFrame b(a.node(), "  35 % A  0 1 -> 123,456,789,012");
        StatusIteration count(b.node(), Status::IterationMode::percentage, 10);
        terminal.take();
        count.update(5);
        const std::string line = terminal.take();
        EXPECT_LE(line.size(), std::min<u64>(columns, 80)) << line;  // with the sign of the erasing
        if (columns < 40) continue;
        EXPECT_NE(line.find("series, run 35 %, about 22 s left"), std::string::npos) << line;
        if (columns >= 60) {
            EXPECT_NE(line.find("Series: A 3"), std::string::npos) << line;
        }
    }
}

TEST(ProgressLineTest, NothingIsDrawnByTicksBetweenFrames) {
    FakeClock clock;
    TerminalSink terminal(80);
    LinearConsoleNode node(79, 0, clock.calls);
    WorkMeter meter({{"series", 60, 600}});
    const StatusWork work(node, &meter);
    clock.pass(100);
    node.tick();
    EXPECT_EQ(terminal.take(), "");
}

// The rate of the counter is measured beside the work; nothing waits for it.
TEST(ProgressLineTest, WithoutTheCountersRateNothingIsDue) {
    FakeClock clock;
    clock.frequency = 0;
    TerminalSink terminal(80);
    LinearConsoleNode node(79, 1.0, clock.calls);
    WorkMeter meter({{"series", 60, 600}});
    const StatusWork work(node, &meter);
    meter.enter("series");
    StatusFrame frame(node, "frame");
    EXPECT_NE(terminal.take().find("frame"), std::string::npos);  // the first drawing waits for nothing
    clock.pass(5);
    node.refresh();
    EXPECT_EQ(terminal.take(), "");
    node.refresh(true);
    EXPECT_NE(terminal.take().find("frame"), std::string::npos);
    clock.frequency = 1000;
    clock.pass(0.5);
    node.refresh();
    EXPECT_EQ(terminal.take(), "");
    clock.pass(0.5);
    node.refresh();
    EXPECT_NE(terminal.take().find("6 s, "), std::string::npos);
}

TEST(ProgressLineTest, RedirectedOutputGetsOneLineAMinute) {
    FakeClock clock;
    CaptureConsole console;
    LinearConsoleNode node(79, 1.0, clock.calls);
    WorkMeter meter({{"series", 60, 600}, {"writing", 40, 1}});
    const StatusWork work(node, &meter);
    StatusFrame frame(node, "frame");
    meter.enter("series");
    std::string lines;
    for (int second = 0; second < 150; second++) {
        clock.pass(1);
        meter.add(2);
        second % 2 == 0 ? node.tick() : node.refresh();
        lines += console.take();
    }
    EXPECT_EQ(lines,
              "After 60 s: series, run 12 %, about 7 min 20 s left\n"
              "After 2 min 0 s: series, run 24 %, about 6 min 20 s left\n");
    // After a long piece a single line, and the next one a minute later.
    clock.pass(1000);
    node.tick();
    EXPECT_EQ(console.take(), "After 19 min 10 s: series, run 60 %, about 3 min 20 s left\n");
    clock.pass(1);
    node.tick();
    EXPECT_EQ(console.take(), "");
}

// A client's server shows the same.
TEST(ProgressLineTest, ANetworkChainPassesTheMeterOn) {
    class Nowhere final : public StatusSink {
      public:
        void send(const Config::Object&) override {}
        void wait_for_continue() override {}
    };
    CaptureConsole console(CaptureConsole::terminal);
    Nowhere sink;
    LinearNetworkNode node(sink, true);
    WorkMeter meter({{"series", 60, 600}});
    const StatusWork work(node, &meter);
    StatusFrame frame(node, "frame");
    frame.node().work().enter("series");
    frame.node().work().add(300);
    EXPECT_EQ(meter.read().done, 30);
    console.take();
    node.tick();
    EXPECT_NE(console.take().find("series, run 50 %"), std::string::npos);
}

TEST(ProgressTickerTest, TicksUntilItEnds) {
    std::atomic<int> ticks{0};
    {
        const ProgressTicker ticker(0.001, [&] { ticks++; });
        while (ticks < 3) std::this_thread::yield();
    }
    const int seen = ticks;
    EXPECT_GE(seen, 3);
    const ProgressTicker never(1e6, [] { ADD_FAILURE(); });  // and its end does not wait for the interval
}
