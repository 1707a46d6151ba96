// A machine for tests of the stress tester: cores that do not exist, a clock that goes by the work done,
// memory from the heap, faults on demand. Nothing waits for time.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "app/stress/stress_run.h"
#include "base/status/linear_console_node.h"
#include "support/capture_console.h"

namespace kalvor {

class PlayedMachine {
  public:
    explicit PlayedMachine(u32 n_cores, u64 memory = u64(64) << 20)
        : numbers_(numbers(n_cores)), machine_{&numbers_, 4 * memory, 0}, settings_(machine_) {
        settings_.seconds_per_test = 10;
        calls_.cores = &numbers_;
        calls_.seconds = [this] {
            const std::lock_guard<std::mutex> lock(mutex_);
            return time();
        };
        calls_.set_affinity = [this](u32 processor) {
            const std::lock_guard<std::mutex> lock(mutex_);
            bound_.insert(processor);
            return refused_.count(processor) ? os::OsError{22, os::ErrorCategory::invalid_parameter}
                                             : os::OsError{};
        };
        calls_.allocate = [this](u32 core, u64 bytes, bool) {
            {
                const std::lock_guard<std::mutex> lock(mutex_);
                asked_[core] = bytes;
                if (no_memory_.count(core)) throw AllocationFailed(bytes);
            }
            return allocate_heap(*make_default_allocator_config("malloc"), serial_context(), 6, bytes);
        };
        calls_.tests = stress_tests();
        calls_.fault.at = [this](u32 core, std::string_view tag, u64 iteration, void* product, u64 bytes) {
            const std::lock_guard<std::mutex> lock(mutex_);
            Counts& counts = counts_[core];
            if (iteration == 0) counts.turns.push_back(0);
            counts.turns.back()++;
            counts.all++;
            counts.waited_for = true;
            if (on_iteration) on_iteration(core, tag, iteration, product, bytes);
        };
    }

    // Runs; what was printed is in text().
    bool run() {
        CaptureConsole console;
        LinearConsoleNode status(79, 1.0);
        const bool passed = run_stress(settings_, status, monitor_, calls_);
        text_ = console.take();
        return passed;
    }
    const std::string& text() const { return text_; }
    bool has(const std::string& text) const { return text_.find(text) != std::string::npos; }
    u64 count(const std::string& what) const {
        u64 n = 0;
        for (size_t at = text_.find(what); at != std::string::npos; at = text_.find(what, at + 1)) n++;
        return n;
    }

    StressSettings& settings() { return settings_; }
    StressCalls& calls() { return calls_; }
    RunMonitor& monitor() { return monitor_; }
    // Tests by their tags.
    void only(const std::vector<std::string>& tags) { settings_.tests = tags; }
    void refuse_affinity(u32 core) { refused_.insert(kFirstProcessor + core); }
    void refuse_memory(u32 core) { no_memory_.insert(core); }
    // Iterations in each turn of a core.
    std::vector<u64> iterations(u32 core) { return counts_[core].turns; }
    // Inside on_iteration: the core fails now, so the clock does not wait for it until it begins another
    // turn.
    void give_up(u32 core) { counts_[core].waited_for = false; }
    std::map<u32, u64> asked() const { return asked_; }
    std::set<u32> bound() const { return bound_; }

    // Called for every iteration of any core, one at a time.
    std::function<void(u32 core, std::string_view tag, u64 iteration, void* product, u64 bytes)> on_iteration;
    static constexpr u32 kFirstProcessor = 40;

  private:
    static CoreNumbers numbers(u32 n) {
        std::vector<u32> processors;
        for (u32 i = 0; i < n; i++) processors.push_back(kFirstProcessor + i);
        return CoreNumbers::of({processors});
    }
    // Ten seconds for each iteration that every running core has done, but at most ten from one look to the
    // next, so that no limit is passed unseen.
    double time() {
        if (counts_.size() < settings_.cores.size() - refused_.size() - no_memory_.size()) return time_;
        u64 least = ~u64(0);
        for (const auto& [core, counts] : counts_) {
            if (counts.waited_for) least = std::min(least, counts.all);
        }
        // With all of ~u64(0) no core works any more, and time passes by itself.
        if (10.0 * static_cast<double>(least) > time_) time_ += 10;
        return time_;
    }

    struct Counts {
        std::vector<u64> turns;
        u64 all = 0;
        bool waited_for = true;
    };

    CoreNumbers numbers_;
    StressMachine machine_;
    StressSettings settings_;
    StressCalls calls_;
    RunMonitor monitor_;
    std::set<u32> refused_, no_memory_;
    std::mutex mutex_;
    std::map<u32, Counts> counts_;
    double time_ = 0;
    std::map<u32, u64> asked_;
    std::set<u32> bound_;
    std::string text_;
};

}  // namespace kalvor
