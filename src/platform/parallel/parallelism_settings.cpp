#include "platform/parallel/parallelism_settings.h"

#include <algorithm>
#include <bit>

#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "os/cpu.h"

namespace trel {

TaskDecomposition::TaskDecomposition()
    : NumberSetting(
          "TaskDecomposition", "    Task Decomposition:",
          {.prompt = "Task Decomposition: ",
           .least = 1,
           .most = kMost,
           .title = "\n\nTarget Task Decomposition",
           .explanation = "In order to parallelize a task, it must be decomposed to smaller tasks.\n"
                          "However, decomposing tasks incurs CPU and memory overhead.\n"
                          "  - With fewer tasks, you have less overhead, but you may not achieve high\n"
                          "    utilization of the processor cores.\n"
                          "  - With more tasks, you have more overhead, but better CPU utilization.\n"
                          "At minimum value, this should be at least the # of logical cores. But it may\n"
                          "be optimal to go even higher. This is known as \"over-decomposition\".",
           .refusal = "\nPlease choose a number between 1 and 65,536."},
          1) {}

void TaskDecomposition::choose(i64 tasks) {
    if (tasks < 1 || !in_range(static_cast<u64>(tasks))) {
        throw InvalidParametersException(
            "", "Task decomposition must be between 1 and " + Console::format_commas(kMost) + ".");
    }
    set(static_cast<u64>(tasks));
}

void TaskDecomposition::load(const Config::Object& object, std::string_view context) {
    choose(object.get_integer(key(), context));
}

ParallelismSettings::ParallelismSettings(u64 processors)
    : SettingsObject(kContext, 32),
      logical_cores(std::max<u64>(processors, 1)),
      framework("Framework", "    Framework:", framework_choices(),
                logical_cores == 1 ? "none" : kDefaultFramework) {
    constexpr u64 kMost = TaskDecomposition::kMost;
    if (logical_cores != 1)
        task_decomposition = processors >= kMost / 2 ? kMost : std::bit_ceil(2 * processors);
}

ParallelismSettings::ParallelismSettings() : ParallelismSettings(os::usable_processor_count()) {}

ParallelismSettings ParallelismSettings::parse(const Config::Node& node) {
    ParallelismSettings settings;
    settings.load(node.as<Config::Object>(kContext));
    return settings;
}

}  // namespace trel
