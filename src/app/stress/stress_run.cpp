#include "app/stress/stress_run.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "app/stress/stress_team.h"
#include "base/clock/timer.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "base/status/data_record.h"
#include "os/affinity.h"
#include "platform/memory/interleave_allocator.h"
#include "platform/memory/mmap_allocator.h"

namespace kalvor {

namespace {

constexpr u64 kAlignmentLog2 = 6;
// What an interrupted run waits for cores that are slow to stop, before it prints its closing lines. The
// process is to end within two seconds.
constexpr double kStopSeconds = 1;

// For a program that listens.
class StressTestIteration final : public DataRecord {
  public:
    StressTestIteration(u64 iteration, double seconds) : iteration_(iteration), seconds_(seconds) {}
    std::string name() const override { return "StressTestIteration"; }
    void write(Config::Object& out) const override {
        out.add_integer("Iteration", static_cast<i64>(iteration_));
        out.add_integer("ElapsedTimeMillis", static_cast<i64>(seconds_ * 1000));
    }

  private:
    u64 iteration_;
    double seconds_;
};

class StressRun {
  public:
    StressRun(const StressSettings& settings, Status& status, RunMonitor& monitor, const StressCalls& calls)
        : settings_(settings), status_(status), monitor_(monitor), calls_(calls) {
        for (const StressTest* test : calls.tests) {
            if (settings.has(test->texts().tag)) enabled_.push_back(test);
        }
    }

    bool run() {
        if (enabled_.empty()) {
            status_.Status_Line("No Tests Enabled.");
            return false;
        }
        status_.Status_Line("Allocating Memory...");
        able_ = able_tests();
        StressTeam team(settings_, calls_, able_);
        report_start(team);
        if (team.n_ready() != 0) {
            start_ = calls_.seconds();
            for (u64 iteration = 1; !over_; iteration++) run_iteration(team, iteration);
        }
        status_.Status_Line("");
        status_.Status_Line("Test Finished. Waiting for threads to terminate...");
        team.stop();
        team.join();
        report_failures(team, ~u64(0));
        return !failed_;
    }

  private:
    void report_start(const StressTeam& team) {
        std::string kind;
        std::set<std::string> warnings;
        for (const StressTeam::Start& start : team.starts()) {
            const std::string core = std::to_string(start.core);
            if (!start.bound) {
                fail("Failed to set core affinity to core: " + core);
            } else if (!start.has_memory) {
                fail("Memory Allocation Failed: " + core);
            } else if (kind.empty()) {
                kind = start.memory;
            }
            warnings.insert(start.warnings.begin(), start.warnings.end());
        }
        for (const std::string& warning : warnings) {
            status_.Status_ColoredLine({{'w', "Warning: "}, {'Y', warning}});
        }
        const u64 each = settings_.memory_per_thread();
        if (team.n_ready() == 0) return;
        status_.Status_ColoredLine({{'w', "Working Memory...  "},
                                    {'Y', Console::format_bytes(each * team.n_ready())},
                                    {'w', "  ( " + Console::format_bytes(each) + " per thread )  "},
                                    {'Y', kind}});
    }

    u64 size_of(const StressTest& test) const {
        return test.size_for(settings_.memory_per_thread() / 64 * 64);
    }

    // Those for which a thread's memory suffices.
    std::vector<const StressTest*> able_tests() const {
        std::vector<const StressTest*> able;
        for (const StressTest* test : enabled_) {
            if (size_of(*test) != 0) able.push_back(test);
        }
        return able;
    }

    void run_iteration(StressTeam& team, u64 iteration) {
        status_.Status_Line("");
        status_.Status_ColoredLine({{'w', "Iteration "}, {'Y', Console::format_commas(iteration)}});
        status_.Status_Line("");
        for (const StressTest* test : enabled_) {
            const StressTest::Texts& texts = test->texts();
            status_.Status_ColoredLine(
                {{'w', "Running "}, {'T', std::string(texts.tag) + " - " + texts.name}});
            if (size_of(*test) == 0) {
                status_.Status_ColoredLine({{'R', "Insufficient memory to run this test."}});
                continue;
            }
            run_turn(team);
            if (over_) return;
        }
        status_.Data_(StressTestIteration(iteration, calls_.seconds() - start_));
        if (able_.empty()) {
            // Nothing was tested, and nothing ever would be.
            failed_ = true;
            over_ = true;
        }
    }

    void run_turn(StressTeam& team) {
        const u64 turn = turn_++;
        const double start = calls_.seconds();
        bool turn_failed = false;
        for (bool ended = false;;) {
            const bool all_done = team.watch(turn);
            turn_failed |= report_failures(team, turn);
            const double now = calls_.seconds();
            // Without a core that still works nothing happens in the time that is left. A run that goes on
            // after errors waits for it, or it would report one failed turn after the other without a pause.
            if (all_done && (ended || settings_.stop_on_error || now - start >= least_seconds())) break;
            if (all_done) team.rest();
            if (ended && !monitor_.stop.requested()) continue;
            if (monitor_.stop.requested()) {
                if (!stopping_since_) stopping_since_ = now;
                if (now - *stopping_since_ >= kStopSeconds) break;
            }
            over_ = over_ || monitor_.stop.requested() || has_passed(settings_.seconds_total, now - start_);
            if (monitor_.stop.requested()) {
                team.stop();
            } else if (over_ || has_passed(settings_.seconds_per_test, now - start) ||
                       (turn_failed && an_error_ends_it())) {
                team.end_turn(turn, over_ || (turn_failed && settings_.stop_on_error));
            } else {
                continue;
            }
            ended = true;
        }
        const double end = calls_.seconds();
        const bool stopping = turn_failed && settings_.stop_on_error;
        over_ = over_ || stopping || has_passed(settings_.seconds_total, end - start_);
        // All threads of a turn may have failed before its time.
        team.end_turn(turn, over_);
        if (monitor_.stop.requested()) status_.Status_Line("");
        status_.Status_ColoredLine(
            {turn_failed ? Status::ColoredText{'R', "Failed"} : Status::ColoredText{'G', "Passed"}});
        status_.Status_ColoredLine({{'w', "  Test Time:  "}, {'Y', Console::format_time(end - start)}});
        status_.Status_ColoredLine(
            {{'w', "  Total Elapsed Time: "}, {'Y', Console::format_time(end - start_)}});
        if (stopping) {
            status_.Status_ColoredLine({{'R', "\nErrors encountered. Stopping test..."}});
        }
    }

    // Where a test has a time, the cores without an error have all of it. Where it has none, it would go on
    // to the end of the whole run.
    bool an_error_ends_it() const { return settings_.stop_on_error && settings_.seconds_per_test == 0; }
    double least_seconds() const { return static_cast<double>(std::max<u64>(settings_.seconds_per_test, 1)); }
    static bool has_passed(u64 limit, double seconds) {
        return limit != 0 && seconds >= static_cast<double>(limit);
    }

    // Whether there were any.
    bool report_failures(StressTeam& team, u64 last_turn) {
        const auto failures = team.take_failures(last_turn);
        for (const StressFailure& failure : failures) {
            const std::lock_guard<std::recursive_mutex> lock(Console::console_lock());
            report(failure);
        }
        return !failures.empty();
    }

    void report(const StressFailure& failure) {
        const std::string core = std::to_string(failure.core);
        if (failure.report) failure.report->print();
        switch (failure.kind) {
            case StressFailure::Kind::wrong_result:
                fail("Error(s) encountered on logical core " + core + ".");
                break;
            case StressFailure::Kind::no_memory:
                fail("Memory Allocation Failed: " + core);
                break;
            default:
                fail("The test was broken off on logical core " + core + ".");
        }
        const StressTest& test = *able_[failure.turn % able_.size()];
        const StressTest::Texts& texts = test.texts();
        status_.Status_ColoredLine({{'w', "  Test:  "},
                                    {'T', std::string(texts.tag) + " - " + texts.name},
                                    {'w', ", "},
                                    {'Y', Console::format_commas(size_of(test)) + " " + texts.unit}});
    }

    void fail(const std::string& text) {
        failed_ = true;
        status_.Status_ColoredLine({{'R', text}});
    }

    const StressSettings& settings_;
    Status& status_;
    RunMonitor& monitor_;
    const StressCalls& calls_;
    std::vector<const StressTest*> enabled_, able_;
    double start_ = 0;
    u64 turn_ = 0;
    bool over_ = false;
    std::optional<double> stopping_since_;
    bool failed_ = false;
};

}  // namespace

const StressCalls& StressCalls::of_this_machine() {
    // Never destroyed: workers use it while the process ends.
    static const StressCalls& calls = *new StressCalls{
        &CoreNumbers::of_this_machine(), [timer = WallTimer()] { return timer.seconds(); },
        [](u32 processor) { return os::set_thread_affinity({processor}); },
        [](u32, u64 bytes, bool local) {
            if (local) return allocate_heap(MmapConfig(), serial_context(), kAlignmentLog2, bytes);
            // The nodes' own threads serve one region at a time.
            static std::mutex& one_at_a_time = *new std::mutex;
            const std::lock_guard<std::mutex> lock(one_at_a_time);
            return allocate_heap(InterleaveConfig(), serial_context(), kAlignmentLog2, bytes);
        },
        stress_tests()};
    return calls;
}

bool run_stress(const StressSettings& settings, Status& status, RunMonitor& monitor,
                const StressCalls& calls) {
    return StressRun(settings, status, monitor, calls).run();
}

}  // namespace kalvor
