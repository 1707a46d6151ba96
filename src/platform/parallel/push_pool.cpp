#include "platform/parallel/push_pool.h"

#include <bit>
#include <exception>

#include "base/errors/fatal.h"
#include "os/cpu.h"
#include "os/crash_handler.h"
#include "os/spin_wait.h"
#include "platform/parallel/thread_control.h"

namespace trel {

PushPoolWorker::~PushPoolWorker() {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard<os::Mutex> lock(mutex_);
        state_.store(ended, std::memory_order_release);
        wake_.notify_one();
    }
    thread_.join();
}

void PushPoolWorker::start(u64 thread_group, Warnings& warnings, const Task* first) {
    if (first) {
        task_ = *first;
    } else {
        state_.store(idle, std::memory_order_relaxed);
    }
    thread_ = std::thread([this, thread_group, &warnings] { run_thread(thread_group, warnings); });
}

bool PushPoolWorker::try_push(const Task& task) {
    u32 state = state_.load(std::memory_order_relaxed);
    if (state != idle && state != asleep) return false;
    if (!state_.compare_exchange_strong(state, claimed, std::memory_order_acquire)) return false;
    task_ = task;
    if (state == idle) {
        state_.store(loaded, std::memory_order_release);
    } else {
        const std::lock_guard<os::Mutex> lock(mutex_);
        state_.store(loaded, std::memory_order_release);
        wake_.notify_one();
    }
    return true;
}

void PushPoolWorker::run_thread(u64 thread_group, Warnings& warnings) {
    os::use_crash_stack();
    warnings.add(set_thread_group(thread_group));
    while (true) {
        os::SpinWait spin;
        u32 state;
        while ((state = state_.load(std::memory_order_acquire)) != loaded && state != ended) {
            if (spin.once()) continue;
            // Between the claim and the task there is next to nothing; the worker stays awake for it.
            u32 expected = idle;
            if (!state_.compare_exchange_strong(expected, asleep, std::memory_order_acq_rel)) continue;
            std::unique_lock<os::Mutex> lock(mutex_);
            wake_.wait(lock, [this] {
                const u32 now = state_.load(std::memory_order_acquire);
                return now == loaded || now == ended;
            });
        }
        if (state == ended) return;
        run_task();
    }
}

void PushPoolWorker::run_task() {
    const Task task = task_;
    try {
        task.action->run(task.index);
    } catch (...) {
        fatal_thread_exception("PushPoolWorker: An exception was thrown from a task.");
    }
    // First idle, then finished: a thread that waited for this task finds the worker free for its next one.
    state_.store(idle, std::memory_order_release);
    task.join->finish();
}

PushPoolWorker& PushPool::worker(u64 i) {
    const u32 segment = static_cast<u32>(std::bit_width(i));
    return segments_[segment][segment == 0 ? 0 : i - (u64(1) << (segment - 1))];
}

bool PushPool::add_worker(const PushPoolWorker::Task* first) {
    const u64 i = count_.load(std::memory_order_relaxed);
    if (i >= settings_.most_workers) return false;
    const u32 segment = static_cast<u32>(std::bit_width(i));
    try {
        if (!segments_[segment]) {
            segments_[segment] =
                std::make_unique<PushPoolWorker[]>(segment == 0 ? 1 : u64(1) << (segment - 1));
        }
        worker(i).start(settings_.base_group + i + 1, settings_.warnings, first);
    } catch (const std::exception&) {  // no thread, no memory
        return false;
    }
    count_.store(i + 1, std::memory_order_release);
    return true;
}

bool PushPool::grow(const PushPoolWorker::Task& task) {
    const std::lock_guard<os::Mutex> lock(growth_);
    return add_worker(&task);
}

bool PushPool::offer(BasicAction& action, u64 index, os::JoinCounter& join) {
    if (settings_.start_all_at_once && !started_.load(std::memory_order_acquire)) {
        const std::lock_guard<os::Mutex> lock(growth_);
        if (!started_.load(std::memory_order_relaxed)) {
            while (add_worker(nullptr)) {
            }
            started_.store(true, std::memory_order_release);
        }
    }
    const u64 n = count_.load(std::memory_order_acquire);
    const PushPoolWorker::Task task{&action, index, &join};
    u64 i = 0;
    if (settings_.randomize && n > 1) {
        i = os::read_tsc() & (std::bit_ceil(n) - 1);
        if (i >= n) i -= n;
    }
    // Waking a sleeper takes longer than many a task: those awake come first.
    u64 sleeper = n;
    for (u64 seen = 0; seen < n; seen++, i = i + 1 == n ? 0 : i + 1) {
        PushPoolWorker& candidate = worker(i);
        if (candidate.is_awake_and_idle()) {
            if (candidate.try_push(task)) return true;
        } else if (sleeper == n && candidate.is_asleep()) {
            sleeper = i;
        }
    }
    if (sleeper != n && worker(sleeper).try_push(task)) return true;
    if (settings_.start_all_at_once || n >= settings_.most_workers) return false;
    return grow(task);
}

}  // namespace trel
