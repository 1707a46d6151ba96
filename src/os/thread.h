// The calling thread's priority and the processors it may run on. Processors are numbered within groups; a system
// without groups has the one group 0.
#pragma once

#include <vector>

#include "os/error.h"
#include "os/types.h"

namespace trel::os {

enum class ThreadPriority { idle, lowest, below_normal, normal, above_normal, highest, time_critical };

OsError set_current_thread_priority(ThreadPriority priority);

// Some processors of one group, ascending.
struct ProcessorSet {
    u64 group = 0;
    std::vector<u32> processors;
    bool operator==(const ProcessorSet&) const = default;
};

u64 processor_group_count();
// The processors of a group that this process was given at its start; empty when the system does not say.
const std::vector<u32>& processors_of_group(u64 group);
// Over all groups; at least 1.
u64 active_processor_count();

OsError set_current_thread_processors(const ProcessorSet& set);

struct ProcessorSetResult {
    ProcessorSet set;
    OsError error;
};
ProcessorSetResult current_thread_processors();

}  // namespace trel::os
