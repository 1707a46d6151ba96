#include "platform/parallel/spawn_framework.h"

#include <memory>
#include <thread>

#include "platform/parallel/task_guard.h"
#include "platform/parallel/thread_control.h"

namespace trel {
namespace {

constexpr u64 kHandlesInFrame = 15;

std::thread start_task(BasicAction& action, u64 index, u64 worker, Warnings& warnings) {
    return std::thread([&action, index, worker, &warnings] {
        warnings.add(set_thread_group(worker + 1));
        run_guarded(action, index);
    });
}

// Waits for the started threads, last first, also when the caller's own task or the start of a thread throws.
class Joiner {
  public:
    Joiner(std::thread* handles, Warnings& warnings) : handles_(handles), warnings_(warnings) {}
    ~Joiner() {
        while (started_ > 0) handles_[--started_].join();
    }
    Joiner(const Joiner&) = delete;
    Joiner& operator=(const Joiner&) = delete;

    void start(BasicAction& action, u64 index) {
        handles_[started_] = start_task(action, index, started_, warnings_);
        started_++;
    }

  private:
    std::thread* handles_;
    Warnings& warnings_;
    u64 started_ = 0;
};

}  // namespace

void SpawnFramework::run_flat(BasicAction& action, u64 begin, u64 end) {
    const u64 n_started = end - begin - 1;
    std::thread in_frame[kHandlesInFrame];
    std::unique_ptr<std::thread[]> on_heap;
    if (n_started > kHandlesInFrame) on_heap = std::make_unique<std::thread[]>(n_started);
    Joiner joiner(on_heap ? on_heap.get() : in_frame, warnings());
    for (u64 i = begin; i < end - 1; i++) joiner.start(action, i);
    action.run(end - 1);
}

void SpawnFramework::run_in_parallel(BasicAction& a, BasicAction& b) {
    std::thread handle;
    Joiner joiner(&handle, warnings());
    joiner.start(b, 0);
    a.run(0);
}

std::unique_ptr<BasicParallelizer> SpawnConfig::make_framework() const {
    return std::make_unique<SpawnFramework>(max_sequential_dispatch.value());
}

namespace {

const FrameworkRegistration<SpawnConfig> g_registration;

}  // namespace
}  // namespace trel
