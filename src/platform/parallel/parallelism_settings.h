// The user's choice of parallelism: how many tasks, which framework, its settings.
#pragma once

#include <memory>
#include <string>

#include "base/config/node.h"
#include "platform/parallel/framework_registry.h"

namespace trel {

// Copies are deep. The framework is never null.
struct ParallelismSettings {
    static constexpr u64 kMaxTaskDecomposition = 65536;

    // One processor: "none" with one task. More: the fastest framework with the smallest power of two of
    // tasks that is at least twice the processors, so that unequal tasks still fill them.
    explicit ParallelismSettings(u64 processors);
    ParallelismSettings();  // for what this process has of them
    ParallelismSettings(const ParallelismSettings& other);
    ParallelismSettings(ParallelismSettings&&) = default;
    ParallelismSettings& operator=(const ParallelismSettings& other);
    ParallelismSettings& operator=(ParallelismSettings&&) = default;

    // Reads {"TaskDecomposition", "Framework", the framework's own keys}. Throws InvalidParametersException
    // "Task decomposition must be between 1 and 65,536.", "Invalid Parallel Framework: ..." and what the
    // framework throws; type errors name "Parallel Framework".
    static ParallelismSettings parse(const Config::Node& node);
    Config::Object to_config() const;

    static void check_task_decomposition(i64 task_decomposition);

    // "display name  ->  tasks / threads"
    std::string summary() const { return framework->summary(task_decomposition); }

    u64 logical_cores;           // of the machine; not saved
    u64 task_decomposition = 1;  // 1 ... 65,536
    std::unique_ptr<FrameworkConfig> framework;
};

}  // namespace trel
