// The sum of one sub-sum on several threads.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "base/names/names.h"
#include "digits/bbp/bbp_formulas.h"
#include "digits/bbp/bbp_kernels.h"
#include "digits/bbp/fraction_float.h"
#include "digits/bbp/summable_range.h"
#include "os/affinity.h"
#include "os/types.h"
#include "platform/parallel/run_monitor.h"

namespace kalvor::BBPv2 {

// How many terms a worker takes next when n_left of them are left.
u64 chunk_size(u64 n_left, u64 n_threads);

constexpr u64 kMaxThreads = 65536;

struct Workers {
    u64 threads = 1;  // 1 .. kMaxThreads
    // Worker i is bound to processors[i mod their number]; none: no worker is bound.
    std::vector<u32> processors = {};
    Modes modes = {};
    const BbpKernels* kernels = nullptr;  // nullptr: those of the level in use
    os::OsError (*set_affinity)(const std::vector<u32>&) = os::set_thread_affinity;
    // Shared by the sub-sums of a run: whether its one warning of a refusal was given.
    std::shared_ptr<std::atomic<bool>> pinning_refused = std::make_shared<std::atomic<bool>>(false);
    // The calling thread is one of the threads: the first. Otherwise it shows the progress alone.
    bool caller_works = false;
};

// Warns when a piece reaches beyond the divisors of its mode. SummableRange() makes no such piece.
void warn_of_large_divisors(const SubSum& sub_sum, const RangePiece& piece, Warnings& warnings);

// The terms 0 <= k < n_terms, modulo 1 and without the sub-sum's sign. Any number of threads and any cut give
// the same limbs. `progress` is called on the calling thread every tenth of a second, and at the end, with
// the number of terms that are done.
//
// Throws RunStopped when the monitor asks for it. An exception of a worker ends the others; the monitor is
// warned "An exception was thrown from a worker thread." and the exception is thrown again here. One that is
// not of the standard library's or our own kind becomes a StringException "An unknown exception was thrown
// from a worker thread.".
FractionFloat sum_terms(const SubSum& sub_sum, u64 n_terms, u64 n_limbs, const Workers& workers,
                        RunMonitor& monitor, const std::function<void(u64 n_done)>& progress);

}  // namespace kalvor::BBPv2
