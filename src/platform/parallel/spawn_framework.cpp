#include "platform/parallel/spawn_framework.h"

#include <memory>
#include <thread>

#include "platform/parallel/task_guard.h"
#include "platform/parallel/thread_control.h"

namespace trel {
namespace {

constexpr u64 kHandlesInFrame = 15;

std::thread start_task(BasicAction& action, u64 index, u64 worker) {
    return std::thread([&action, index, worker] {
        set_thread_group(worker + 1);
        run_guarded(action, index);
    });
}

// Waits for the started threads, last first, also when the caller's own task or the start of a thread throws.
class Joiner {
  public:
    explicit Joiner(std::thread* handles) : handles_(handles) {}
    ~Joiner() {
        while (started_ > 0) handles_[--started_].join();
    }
    Joiner(const Joiner&) = delete;
    Joiner& operator=(const Joiner&) = delete;

    void start(BasicAction& action, u64 index) {
        handles_[started_] = start_task(action, index, started_);
        started_++;
    }

  private:
    std::thread* handles_;
    u64 started_ = 0;
};

}  // namespace

void SpawnFramework::run_flat(BasicAction& action, u64 begin, u64 end) {
    const u64 n_started = end - begin - 1;
    std::thread in_frame[kHandlesInFrame];
    std::unique_ptr<std::thread[]> on_heap;
    if (n_started > kHandlesInFrame) on_heap = std::make_unique<std::thread[]>(n_started);
    Joiner joiner(on_heap ? on_heap.get() : in_frame);
    for (u64 i = begin; i < end - 1; i++) joiner.start(action, i);
    action.run(end - 1);
}

void SpawnFramework::run_in_parallel(BasicAction& a, BasicAction& b) {
    std::thread handle;
    Joiner joiner(&handle);
    joiner.start(b, 0);
    a.run(0);
}

std::string SpawnConfig::name() const {
    return "spawn";
}
std::string SpawnConfig::display_name() const {
    return "Thread Spawn (1 Thread/Task)";
}
std::unique_ptr<BasicParallelizer> SpawnConfig::make_framework() const {
    return std::make_unique<SpawnFramework>(max_sequential_dispatch_.value());
}
std::unique_ptr<FrameworkConfig> SpawnConfig::clone() const {
    return std::make_unique<SpawnConfig>(*this);
}

SpawnConfig::SpawnConfig(const Config::Object& object) : max_sequential_dispatch_(object) {}

Config::Object SpawnConfig::to_config() const {
    Config::Object object;
    max_sequential_dispatch_.add_to_config(object);
    return object;
}

void SpawnConfig::add_selectors(Config::Object& object) const {
    max_sequential_dispatch_.add_to_selector(object);
}

u64 SpawnConfig::print(u64 first_line_number) const {
    max_sequential_dispatch_.print(first_line_number);
    return first_line_number + 1;
}

void SpawnConfig::edit(u64 line) {
    if (line == 0) max_sequential_dispatch_.edit();
}

namespace {

const FrameworkTypeOf<SpawnConfig> g_type;
const FrameworkRegistration g_registration("spawn", g_type);

}  // namespace
}  // namespace trel
