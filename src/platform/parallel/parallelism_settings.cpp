#include "platform/parallel/parallelism_settings.h"

#include <algorithm>
#include <bit>

#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "os/cpu.h"
#include "platform/parallel/spawn_framework.h"

namespace trel {

ParallelismSettings ParallelismSettings::defaults(u64 processors) {
    ParallelismSettings settings;
    if (processors <= 1) return settings;
    settings.framework = "cilk";
    settings.task_decomposition =
        processors >= kMaxTaskDecomposition / 2 ? kMaxTaskDecomposition : std::bit_ceil(2 * processors);
    return settings;
}

ParallelismSettings ParallelismSettings::defaults() {
    return defaults(os::active_processor_count());
}

void ParallelismSettings::check_task_decomposition(u64 task_decomposition) {
    if (task_decomposition < 1 || task_decomposition > kMaxTaskDecomposition) {
        throw InvalidParametersException("", "Task decomposition must be between 1 and " +
                                                 Console::format_commas(kMaxTaskDecomposition) + ".");
    }
}

std::unique_ptr<FrameworkConfig> ParallelismSettings::make_config() const {
    check_task_decomposition(task_decomposition);
    if (framework == "spawn") return std::make_unique<SpawnConfig>(max_sequential_dispatch);
    return make_default_framework_config(framework);
}

std::string ParallelismSettings::summary() const {
    return make_config()->summary(task_decomposition);
}

}  // namespace trel
