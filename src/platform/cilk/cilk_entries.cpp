#include "platform/cilk/cilk_entries.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include "os/cpu.h"
#include "platform/cilk/work_stealing_pool.h"

namespace {

using trel::u64;
using trel::WorkStealingPool;

constexpr u64 kMostWorkers = 65536;
constexpr u64 kLargestGrain = 2048;

enum Status : int { success = 0, unimplemented = 1, out_of_range = 2, invalid = 3, too_late = 4 };

struct Runtime {
    std::mutex mutex;
    u64 workers = trel::os::usable_processor_count();
    std::atomic<WorkStealingPool*> pool{nullptr};
};

// Never destroyed: the threads may outlive the program's own statics.
Runtime& runtime() {
    static Runtime& the_runtime = *new Runtime;
    return the_runtime;
}

WorkStealingPool& running_pool() {
    Runtime& r = runtime();
    WorkStealingPool* pool = r.pool.load(std::memory_order_acquire);
    if (pool) return *pool;
    const std::lock_guard<std::mutex> lock(r.mutex);
    pool = r.pool.load(std::memory_order_relaxed);
    if (!pool) {
        pool = std::make_unique<WorkStealingPool>(r.workers).release();
        r.pool.store(pool, std::memory_order_release);
    }
    return *pool;
}

}  // namespace

extern "C" {

int __cilkrts_set_param(const char* name, const char* value) {
    if (!name || std::strcmp(name, "nworkers") != 0) return unimplemented;
    if (!value) return invalid;
    u64 workers = 0;
    const char* const end = value + std::strlen(value);
    const auto [stop, error] = std::from_chars(value, end, workers);
    if (error == std::errc::result_out_of_range) return out_of_range;
    if (error != std::errc() || stop != end) return invalid;
    if (workers < 1 || workers > kMostWorkers) return out_of_range;
    Runtime& r = runtime();
    const std::lock_guard<std::mutex> lock(r.mutex);
    if (r.pool.load() && r.workers != workers) return too_late;
    r.workers = workers;
    return success;
}

void __cilkrts_cilk_for_64(void (*body)(void* data, u64 low, u64 high), void* data, u64 count, int grain) {
    if (count == 0) return;
    WorkStealingPool* running;
    try {
        running = &running_pool();
    } catch (const std::bad_alloc&) {
        // No memory for the threads: the caller alone.
        const u64 step = grain > 0 ? static_cast<u64>(grain) : kLargestGrain;
        for (u64 low = 0; low < count; low += step) body(data, low, std::min(low + step, count));
        return;
    }
    WorkStealingPool& pool = *running;
    const u64 pieces = 8 * pool.workers();
    const u64 indices =
        grain > 0 ? static_cast<u64>(grain) : std::min(count / pieces + (count % pieces != 0), kLargestGrain);
    pool.run_loop(body, data, 0, count, indices);
}

int __cilkrts_get_nworkers(void) {
    Runtime& r = runtime();
    const std::lock_guard<std::mutex> lock(r.mutex);
    return static_cast<int>(r.workers);
}

void __cilkrts_end_cilk(void) {
    Runtime& r = runtime();
    const std::lock_guard<std::mutex> lock(r.mutex);
    delete r.pool.exchange(nullptr);
}
}
