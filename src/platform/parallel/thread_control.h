// Priority and processors of the calling thread, as settings and frameworks ask for them. A failure is not
// an error: each function returns the lines of its warning, or none.
#pragma once

#include <vector>

#include "base/status/warnings.h"
#include "os/thread.h"
#include "os/types.h"

namespace trel {

// level -3 (idle) ... 0 (normal) ... 3 (time critical); lower and higher levels are -3 and 3.
os::ThreadPriority thread_priority_of(int level);

// The system call behind set_thread_priority().
struct ThreadPriorityCalls {
    os::OsError (*set)(os::ThreadPriority priority);

    static const ThreadPriorityCalls& of_this_machine();
};
// "Warning: Unable to set thread priority." when the system refuses.
std::vector<Warnings::Line> set_thread_priority(
    int level, const ThreadPriorityCalls& calls = ThreadPriorityCalls::of_this_machine());

// The system calls behind set_thread_group().
struct ThreadGroupCalls {
    u64 (*group_count)();
    os::OsError (*processors)(u64 group, std::vector<u32>& processors);
    os::OsError (*set_affinity)(const std::vector<u32>& processors);
    os::OsError (*get_affinity)(std::vector<u32>& processors);
    u64 (*current_group)();

    static const ThreadGroupCalls& of_this_machine();
};

// Beyond this, more threads of a pool only cost memory, whatever the settings say.
u64 most_pool_threads();

// With one group there is nothing to place, and a thread stays where its creator, or somebody from outside,
// has put it. Otherwise: puts the calling thread on the whole processor group index mod (number of groups)
// and checks that it is there. A failure is reported once per process. Worker number i of a set of threads
// whose creator was given the base b passes b + i + 1, so that successive threads fill successive groups.
std::vector<Warnings::Line> set_thread_group(
    u64 index, const ThreadGroupCalls& calls = ThreadGroupCalls::of_this_machine());

// Puts the calling thread on the processors given (the system's numbers, ascending), or "Failed to set thread
// affinity.".
std::vector<Warnings::Line> set_thread_affinity(const std::vector<u32>& processors);

}  // namespace trel
