// What a run and its work on other threads tell each other: that the work shall stop, and what the user shall
// be told.
#pragma once

#include <atomic>
#include <exception>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "base/status/warnings.h"
#include "os/types.h"

namespace trel {

// Any thread may request. The work polls (ParallelContext::poll()) between products, levels, blocks and
// pieces of output, never in a hot loop.
class StopFlag {
  public:
    void request() noexcept { requested_.store(true, std::memory_order_relaxed); }
    bool requested() const noexcept { return requested_.load(std::memory_order_relaxed); }

  private:
    std::atomic<bool> requested_{false};
};

// Leaves the work of a run that was asked to stop. It is not an error and has no report: the owner of the
// flag catches it. It may be thrown inside tasks: parallel_for() and fork_join() end it at the edge of a task
// and throw it again in the thread that dispatched.
class RunStopped : public std::exception {
  public:
    const char* what() const noexcept override { return "The run was asked to stop."; }
};
// How often the work has looked at its own results. Any thread counts.
struct CheckCounts {
    std::atomic<u64> products{0};
    std::atomic<u64> numbers{0};    // compared with the residues that they carry
    std::atomic<u64> corrected{0};  // operations that were wrong and came out right when done again
};

// Which operations these were, in the order in which they were done again. Any thread.
class Corrections {
  public:
    void add(std::string operation) {
        const std::lock_guard lock(mutex_);
        operations_.push_back(std::move(operation));
    }
    std::vector<std::string> all() const {
        const std::lock_guard lock(mutex_);
        return operations_;
    }
    // Those that came after the last call.
    std::vector<std::string> news() {
        const std::lock_guard lock(mutex_);
        const auto first = operations_.begin() + static_cast<std::ptrdiff_t>(told_);
        told_ = operations_.size();
        return {first, operations_.end()};
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> operations_;
    std::size_t told_ = 0;
};

// Sees the memory of an operation between its stages, and may change it: how tests bring in faults. It is
// handed down with the run, because it belongs to that and not to the machine. Calls come from any thread.
class ComputationStages {
  public:
    virtual ~ComputationStages() = default;
    virtual void at(const char* stage, void* memory, u64 bytes) = 0;
};

// One a run, handed down in the ParallelContext.
struct RunMonitor {
    StopFlag stop;
    Warnings warnings;
    CheckCounts checks;
    Corrections corrections;
    ComputationStages* stages = nullptr;  // only tests have one
};

}  // namespace trel
