#include "platform/parallel/push_pool_framework.h"

#include <algorithm>

#include "os/affinity.h"
#include "os/cpu.h"
#include "platform/parallel/callers_share.h"
#include "platform/parallel/thread_control.h"

namespace trel {
namespace {

PushPool::Settings pool_settings(u64 worker_threads, bool randomize, Warnings& warnings) {
    const u64 group = os::current_processor_group();
    if (worker_threads == 0)
        return {2 * u64(os::usable_processor_count()) - 1, false, randomize, group, warnings};
    // All of them are started at once, and every one that the system gives is one that others lack.
    return {std::min(worker_threads, most_pool_threads()) - 1, true, randomize, group, warnings};
}

}  // namespace

PushPoolFramework::PushPoolFramework(u64 worker_threads, bool randomize, u64 max_sequential_dispatch)
    : BoundedParallelizer(max_sequential_dispatch),
      pool_(pool_settings(worker_threads, randomize, warnings())) {}

void PushPoolFramework::run_flat(BasicAction& action, u64 begin, u64 end) {
    os::JoinCounter join;
    CallersShare share;
    join.add(end - 1 - begin);
    for (u64 i = begin; i < end - 1; i++) {
        if (pool_.offer(action, i, join)) continue;
        share.run_here(action, i);
        join.finish();
    }
    share.run_here(action, end - 1);
    join.wait();
    share.rethrow();
}

void PushPoolFramework::run_in_parallel(BasicAction& a, BasicAction& b) {
    os::JoinCounter join;
    CallersShare share;
    join.add(1);
    const bool taken = pool_.offer(b, 0, join);
    share.run_here(a, 0);
    if (taken) {
        join.wait();
    } else {
        share.run_here(b, 0);
    }
    share.rethrow();
}

std::string PushPoolConfig::mode_text() const {
    return randomize ? "  (randomization on)" : "  (randomization off)";
}
std::unique_ptr<BasicParallelizer> PushPoolConfig::make_framework() const {
    return std::make_unique<PushPoolFramework>(threads.value(), randomize, max_sequential_dispatch.value());
}

namespace {

const FrameworkRegistration<PushPoolConfig> g_registration;

}  // namespace
}  // namespace trel
