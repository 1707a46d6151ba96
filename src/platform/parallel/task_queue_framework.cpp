#include "platform/parallel/task_queue_framework.h"

#include <new>

#include "os/affinity.h"
#include "platform/parallel/callers_share.h"
#include "platform/parallel/thread_control.h"

namespace trel {

TaskQueueFramework::TaskQueueFramework(u64 worker_threads)
    : queue_(worker_threads, [this, base = u64(os::current_processor_group())](u64 worker) {
          warnings().add(set_thread_group(base + worker + 1));
      }) {}

void TaskQueueFramework::run_in_parallel(BasicAction& action, u64 begin, u64 end) {
    if (end <= begin) return;
    if (end - begin == 1) {
        action.run(begin);
        return;
    }
    os::JoinCounter join;
    CallersShare share;
    join.add(end - 1 - begin);
    u64 id;
    try {
        id = queue_.push_back(action, begin, end - 1, join);
    } catch (const std::bad_alloc&) {
        for (u64 i = begin; i < end; i++) share.run_here(action, i);
        share.rethrow();
        return;
    }
    share.run_here(action, end - 1);
    // The queue is served from its front: as soon as the last one is gone, all before it are.
    for (u64 index; !join.done() && queue_.take_back(id, join, index); id--) {
        share.run_here(action, index);
        join.finish();
    }
    join.wait();
    share.rethrow();
}

void TaskQueueFramework::run_in_parallel(BasicAction& a, BasicAction& b) {
    os::JoinCounter join;
    CallersShare share;
    join.add(1);
    u64 id;
    try {
        id = queue_.push_back(b, 0, join);
    } catch (const std::bad_alloc&) {
        share.run_here(a, 0);
        share.run_here(b, 0);
        share.rethrow();
        return;
    }
    share.run_here(a, 0);
    u64 index;
    if (!join.done() && queue_.take_back(id, join, index)) {
        share.run_here(b, index);
    } else {
        join.wait();
    }
    share.rethrow();
}

std::unique_ptr<BasicParallelizer> TaskQueueConfig::make_framework() const {
    return std::make_unique<TaskQueueFramework>(threads.value());
}

namespace {

const FrameworkRegistration<TaskQueueConfig> g_registration;

}  // namespace
}  // namespace trel
