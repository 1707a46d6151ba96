#include "platform/parallel/push_pool_framework.h"

#include "os/affinity.h"
#include "os/cpu.h"
#include "platform/parallel/callers_share.h"
#include "base/settings/setting_lines.h"

namespace trel {
namespace {

PushPool::Settings pool_settings(u64 worker_threads, bool randomize) {
    const u64 group = os::current_processor_group();
    if (worker_threads == 0) return {2 * u64(os::active_processor_count()) - 1, false, randomize, group};
    return {worker_threads - 1, true, randomize, group};
}

}  // namespace

PushPoolFramework::PushPoolFramework(u64 worker_threads, bool randomize, u64 max_sequential_dispatch)
    : BoundedParallelizer(max_sequential_dispatch), pool_(pool_settings(worker_threads, randomize)) {}

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

std::string PushPoolConfig::name() const {
    return "pushpool";
}
std::string PushPoolConfig::display_name() const {
    return "Push Pool";
}
std::string PushPoolConfig::mode_text() const {
    return randomize ? "  (randomization on)" : "  (randomization off)";
}
std::unique_ptr<BasicParallelizer> PushPoolConfig::make_framework() const {
    return std::make_unique<PushPoolFramework>(threads.value(), randomize, max_sequential_dispatch.value());
}
std::unique_ptr<FrameworkConfig> PushPoolConfig::clone() const {
    return std::make_unique<PushPoolConfig>(*this);
}

PushPoolConfig::PushPoolConfig(const Config::Object& object)
    : threads(object),
      randomize(object.get_bool("Randomization", "Parallel Framework")),
      max_sequential_dispatch(object) {}

Config::Object PushPoolConfig::to_config() const {
    Config::Object object;
    threads.add_to_config(object);
    object.add_bool("Randomization", randomize);
    max_sequential_dispatch.add_to_config(object);
    return object;
}

void PushPoolConfig::add_selectors(Config::Object& object) const {
    threads.add_to_selector(object);
    add_bool_selector(object, "Randomization", randomize, randomize ? "Enabled" : "Disabled");
    max_sequential_dispatch.add_to_selector(object);
}

u64 PushPoolConfig::print(u64 first_line_number) const {
    threads.print(first_line_number);
    print_setting_line(first_line_number + 1, "    Thread Randomization:", kFrameworkLabelWidth,
                       randomize ? "Enabled" : "Disabled", randomize ? 'G' : 'R');
    max_sequential_dispatch.print(first_line_number + 2);
    return first_line_number + 3;
}

void PushPoolConfig::edit(u64 line) {
    if (line == 0) threads.edit();
    if (line == 1) randomize = !randomize;
    if (line == 2) max_sequential_dispatch.edit();
}

namespace {

const FrameworkTypeOf<PushPoolConfig> g_type;
const FrameworkRegistration g_registration("pushpool", g_type);

}  // namespace
}  // namespace trel
