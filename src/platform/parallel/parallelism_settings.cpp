#include "platform/parallel/parallelism_settings.h"

#include <algorithm>
#include <bit>

#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "os/cpu.h"

namespace trel {

ParallelismSettings::ParallelismSettings(u64 processors) : logical_cores(std::max<u64>(processors, 1)) {
    if (logical_cores == 1) {
        framework = make_default_framework_config("none");
        return;
    }
    // The winner of Pi to 10 million digits.
    framework = make_default_framework_config("cilk");
    task_decomposition =
        processors >= kMaxTaskDecomposition / 2 ? kMaxTaskDecomposition : std::bit_ceil(2 * processors);
}

ParallelismSettings::ParallelismSettings() : ParallelismSettings(os::usable_processor_count()) {}

ParallelismSettings::ParallelismSettings(const ParallelismSettings& other)
    : logical_cores(other.logical_cores),
      task_decomposition(other.task_decomposition),
      framework(other.framework->clone()) {}

ParallelismSettings& ParallelismSettings::operator=(const ParallelismSettings& other) {
    return *this = ParallelismSettings(other);
}

ParallelismSettings ParallelismSettings::parse(const Config::Node& node) {
    constexpr const char* kContext = "Parallel Framework";
    const auto& object = node.as<Config::Object>(kContext);
    ParallelismSettings settings;
    const i64 tasks = object.get_integer("TaskDecomposition", kContext);
    check_task_decomposition(tasks);
    settings.task_decomposition = static_cast<u64>(tasks);
    settings.framework = make_framework_config(object);
    return settings;
}

Config::Object ParallelismSettings::to_config() const {
    Config::Object object;
    object.add_integer("TaskDecomposition", static_cast<i64>(task_decomposition));
    object.add_string("Framework", framework->name());
    framework->save(object);
    return object;
}

void ParallelismSettings::check_task_decomposition(i64 task_decomposition) {
    if (task_decomposition < 1 || static_cast<u64>(task_decomposition) > kMaxTaskDecomposition) {
        throw InvalidParametersException("", "Task decomposition must be between 1 and " +
                                                 Console::format_commas(kMaxTaskDecomposition) + ".");
    }
}

}  // namespace trel
