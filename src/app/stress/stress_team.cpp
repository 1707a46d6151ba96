#include "app/stress/stress_team.h"

#include <algorithm>
#include <chrono>
#include <new>

#include "base/console/console.h"
#include "base/console/error_output.h"

namespace kalvor {

namespace {

// Between two looks at the clock and at the stop flag.
constexpr auto kLook = std::chrono::milliseconds(20);

[[noreturn]] void end_of_process() {
    const std::lock_guard<std::recursive_mutex> lock(Console::console_lock());
    {
        const Console::ErrorOutput errors;
        Console::error_line("Unknown exception thrown from worker thread.");
    }
    Console::fatal_exit(1);
}

}  // namespace

StressTeam::StressTeam(const StressSettings& settings, const StressCalls& calls,
                       std::vector<const StressTest*> tests)
    : settings_(settings), calls_(calls), tests_(std::move(tests)) {
    for (const u32 core : settings.cores) starts_.push_back({core, false, false, {}, {}});
    try {
        for (Start& start : starts_) {
            Member& member = members_.emplace_back();
            member.core = start.core;
            member.thread = std::thread([this, &member, &start] { work(member, start); });
        }
    } catch (...) {
        if (!members_.empty() && !members_.back().thread.joinable()) members_.pop_back();
        join();
        throw;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    news_.wait(lock, [this] { return n_started_ == members_.size(); });
    for (const Start& start : starts_) n_ready_ += start.bound && start.has_memory;
}

StressTeam::~StressTeam() {
    stop();
    join();
}

void StressTeam::end_turn(u64 turn, bool last) {
    const std::lock_guard<std::mutex> lock(mutex_);
    over_ = over_ || last;
    turns_ended_ = turn + 1;
    go_.notify_all();
}

void StressTeam::stop() {
    const std::lock_guard<std::mutex> lock(mutex_);
    over_ = stopped_ = true;
    turns_ended_ = ~u64(0);
    for (Member& member : members_) {
        if (member.monitor != nullptr) member.monitor->stop.request();
    }
    go_.notify_all();
}

bool StressTeam::watch(u64 turn) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto all_done = [&] {
        return std::all_of(members_.begin(), members_.end(),
                           [&](const Member& member) { return member.turns_done > turn; });
    };
    news_.wait_for(lock, kLook, all_done);
    return all_done();
}

void StressTeam::rest() {
    std::this_thread::sleep_for(kLook);
}

std::vector<StressFailure> StressTeam::take_failures(u64 last_turn) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<StressFailure> taken, left;
    for (StressFailure& failure : failures_) {
        (failure.turn <= last_turn ? taken : left).push_back(std::move(failure));
    }
    failures_ = std::move(left);
    return taken;
}

void StressTeam::join() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        over_ = true;
        turns_ended_ = ~u64(0);
        go_.notify_all();
    }
    for (Member& member : members_) {
        if (member.thread.joinable()) member.thread.join();
    }
}

void StressTeam::work(Member& member, Start& start) {
    HeapAllocation memory;
    try {
        prepare(member, start, memory);
        bool ready;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ready = start.bound && start.has_memory;
            // One that cannot run keeps nobody waiting.
            if (!ready) member.turns_done = ~u64(0);
            n_started_++;
            news_.notify_one();
            ready = ready && !tests_.empty() && !over_;
        }
        if (!ready) return;
        const u64 bytes = settings_.memory_per_thread() / 64 * 64;
        take_turns(member,
                   memory.region ? AlignedBufferC(memory.region->pointer(), bytes) : AlignedBufferC());
    } catch (...) {
        end_of_process();
    }
}

void StressTeam::prepare(Member& member, Start& start, HeapAllocation& memory) {
    if (calls_.set_affinity(calls_.cores->cores[member.core].processor)) return;
    start.bound = true;
    try {
        memory = calls_.allocate(member.core, settings_.memory_per_thread() / 64 * 64, settings_.local);
        start.memory = memory.summary;
        start.warnings = memory.warnings;
        start.has_memory = true;
    } catch (const Exception&) {
    } catch (const std::exception&) {
    }
}

void StressTeam::take_turns(Member& member, const AlignedBufferC& memory) {
    for (u64 turn = 0;; turn++) {
        std::optional<StressFailure> failed = take_turn(member, memory, turn);
        std::unique_lock<std::mutex> lock(mutex_);
        member.turns_done = turn + 1;
        if (failed) failures_.push_back(std::move(*failed));
        news_.notify_one();
        // After a failure the others go on to the end of the turn.
        go_.wait(lock, [&] { return over_ || turns_ended_ > turn; });
        if (over_) {
            member.turns_done = ~u64(0);
            news_.notify_one();
            return;
        }
    }
}

std::optional<StressFailure> StressTeam::take_turn(Member& member, const AlignedBufferC& memory, u64 turn) {
    RunMonitor monitor;
    if (calls_.stages) monitor.stages = calls_.stages(member.core);
    const auto enter = [&](RunMonitor* now) {
        const std::lock_guard<std::mutex> lock(mutex_);
        member.monitor = now;
        if (stopped_) monitor.stop.request();
    };
    enter(&monitor);
    using Kind = StressFailure::Kind;
    std::optional<StressFailure> failed;
    const auto fail = [&](Kind kind, std::unique_ptr<Exception> report) {
        failed = StressFailure{member.core, turn, kind, std::move(report)};
    };
    try {
        iterate(member, memory, turn, monitor);
    } catch (const RunStopped&) {
    } catch (AlgorithmFailedException& e) {
        fail(Kind::wrong_result, e.clone());
    } catch (const MemoryAllocationFailedException&) {
        fail(Kind::no_memory, nullptr);
    } catch (const AllocationFailed&) {
        fail(Kind::no_memory, nullptr);
    } catch (const std::bad_alloc&) {
        fail(Kind::no_memory, nullptr);
    } catch (Exception& e) {
        fail(Kind::other, e.clone());
    } catch (const std::exception& e) {
        fail(Kind::other, std::make_unique<StdException>(e.what()));
    }
    enter(nullptr);
    return failed;
}

void StressTeam::iterate(Member& member, const AlignedBufferC& memory, u64 turn, RunMonitor& monitor) {
    const StressTest& test = *tests_[turn % tests_.size()];
    const auto worker = test.make_worker({memory, member.core, turn, monitor, calls_.fault});
    // A core that comes late still does something for each turn.
    u64 iteration = 0;
    do {
        worker->iterate(iteration++);
    } while (turns_ended_.load(std::memory_order_relaxed) <= turn);
}

}  // namespace kalvor
