#include "arith/m61/hash_parallel.h"

#include <algorithm>

namespace trel::m61 {
namespace {

constexpr u64 kParallelWords = u64(1) << 17;  // from here on tasks pay
constexpr u64 kMaxTasks = 64;

}  // namespace

u64 hash_words(const ParallelContext& parallel, const Word* words, u64 n) {
    const u64 n_tasks = std::min({parallel.tds, kMaxTasks, n / (kParallelWords / 2)});
    if (n_tasks < 2) return canonical(hash_words(words, n));
    u64 parts[kMaxTasks];
    parallel_for(parallel, n_tasks, [&](u64 task) {
        const u64 begin = n * task / n_tasks, end = n * (task + 1) / n_tasks;
        parts[task] = mul_pow2_64(hash_words(words + begin, end - begin), static_cast<i64>(begin));
    });
    u64 sum = 0;
    for (u64 task = 0; task < n_tasks; task++) sum = add(sum, parts[task]);
    return canonical(sum);
}

}  // namespace trel::m61
