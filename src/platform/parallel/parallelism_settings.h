// The user's choice of parallelism: how many tasks, which framework, its settings.
#pragma once

#include <memory>
#include <string>

#include "platform/parallel/framework_registry.h"

namespace trel {

struct ParallelismSettings {
    static constexpr u64 kMaxTaskDecomposition = 65536;

    u64 task_decomposition = 1;        // 1 ... 65,536
    std::string framework = "none";    // a registered name
    u64 max_sequential_dispatch = 64;  // used by "spawn"; at least 4

    // One processor: "none" with one task. More: "cilk" (the fastest on Pi) with the smallest power of two of
    // tasks that is at least twice the processors, so that unequal tasks still fill them.
    static ParallelismSettings defaults(u64 processors);
    static ParallelismSettings defaults();  // for the processors of this process

    // Throws InvalidParametersException "Task decomposition must be between 1 and 65,536.".
    static void check_task_decomposition(u64 task_decomposition);

    // Checks everything. Throws as above, or for an unknown framework.
    std::unique_ptr<FrameworkConfig> make_config() const;
    // "display name  ->  tasks / threads"
    std::string summary() const;
};

}  // namespace trel
