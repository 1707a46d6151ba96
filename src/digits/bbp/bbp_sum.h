// The sum of one sub-sum on several threads.
#pragma once

#include <functional>

#include "digits/bbp/bbp_formulas.h"
#include "digits/bbp/bbp_kernels.h"
#include "digits/bbp/fraction_float.h"
#include "digits/bbp/summable_range.h"
#include "os/affinity.h"
#include "os/types.h"
#include "platform/parallel/run_monitor.h"

namespace kalvor::BBPv2 {

// How many terms a worker takes next when n_left of them are left.
trel::u64 chunk_size(trel::u64 n_left, trel::u64 n_threads);

constexpr trel::u64 kMaxThreads = 65536;

struct Workers {
    trel::u64 threads = 1;  // 1 .. kMaxThreads
    // Worker i is bound to processors[i mod their number]; none: no worker is bound.
    std::vector<trel::u32> processors = {};
    Modes modes = {};
    const BbpKernels* kernels = nullptr;  // nullptr: those of the level in use
    trel::os::OsError (*set_affinity)(const std::vector<trel::u32>&) = trel::os::set_thread_affinity;
};

// The terms 0 <= k < n_terms, modulo 1 and without the sub-sum's sign. Any number of threads and any cut give
// the same limbs. `progress` is called on the calling thread every tenth of a second, and at the end, with
// the number of terms that are done.
//
// Throws RunStopped when the monitor asks for it. An exception of a worker ends the others; the monitor is
// warned "An exception was thrown from a worker thread." and the exception is thrown again here. One that is
// not of the standard library's or our own kind becomes a StringException "An unknown exception was thrown
// from a worker thread.".
FractionFloat sum_terms(const SubSum& sub_sum, trel::u64 n_terms, trel::u64 n_limbs, const Workers& workers,
                        trel::RunMonitor& monitor, const std::function<void(trel::u64 n_done)>& progress);

}  // namespace kalvor::BBPv2
