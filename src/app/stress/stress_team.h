// The threads of a stress run. Each owns its memory and goes from test to test by itself, so that no core
// waits for another: a fast one is at most one turn ahead.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/stress/stress_run.h"
#include "base/errors/exceptions.h"

namespace kalvor {

// Why a core left a turn before its end.
struct StressFailure {
    // Only a wrong result speaks against the core.
    enum class Kind { wrong_result, no_memory, other };
    u32 core;
    u64 turn;
    Kind kind;
    std::unique_ptr<Exception> report;  // nullptr where the kind says it all
};

// All functions belong to one thread, that of the run.
class StressTeam {
  public:
    // Starts a thread for each core, which is then bound to it, gets its memory and begins: turn t is test t
    // mod their number. Returns when all have begun or failed. Without tests they begin nothing.
    StressTeam(const StressSettings& settings, const StressCalls& calls,
               std::vector<const StressTest*> tests);
    // Ends all threads.
    ~StressTeam();
    StressTeam(const StressTeam&) = delete;
    StressTeam& operator=(const StressTeam&) = delete;

    // How the start went for each core, in their order.
    struct Start {
        u32 core;
        bool bound = false;
        bool has_memory = false;
        std::string memory;                 // the kind of pages
        std::vector<std::string> warnings;  // what went wrong and was worked around
    };
    const std::vector<Start>& starts() const { return starts_; }
    // Cores that can run.
    u64 n_ready() const { return n_ready_; }

    // Lets the threads leave turn t after their iteration; last: they begin no other.
    void end_turn(u64 turn, bool last);
    // Stops them at their next poll.
    void stop();

    // Waits for news, but not long. True when every thread has left the turn or has failed in it.
    bool watch(u64 turn);
    // Lets as much time pass as watch() waits at the most.
    void rest();
    // What went wrong up to this turn since the last call.
    std::vector<StressFailure> take_failures(u64 last_turn);

    // Lets the threads begin no more turns, and waits for them.
    void join();

  private:
    struct Member {
        u32 core;
        u64 turns_done = 0;             // left, or failed in
        RunMonitor* monitor = nullptr;  // of the worker that it has now
        std::thread thread;
    };

    void work(Member& member, Start& start);
    void prepare(Member& member, Start& start, HeapAllocation& memory);
    void take_turns(Member& member, const AlignedBufferC& memory);
    std::optional<StressFailure> take_turn(Member& member, const AlignedBufferC& memory, u64 turn);
    void iterate(Member& member, const AlignedBufferC& memory, u64 turn, RunMonitor& monitor);

    const StressSettings& settings_;
    const StressCalls& calls_;
    std::vector<Start> starts_;
    u64 n_ready_ = 0;
    const std::vector<const StressTest*> tests_;
    std::deque<Member> members_;

    std::atomic<u64> turns_ended_{0};  // turns below it are over
    std::mutex mutex_;                 // of what follows, of starts_ and of the members
    std::condition_variable news_;     // for the run
    std::condition_variable go_;       // for the threads
    u64 n_started_ = 0;
    bool over_ = false;  // no thread begins another turn
    bool stopped_ = false;
    std::vector<StressFailure> failures_;
};

}  // namespace kalvor
