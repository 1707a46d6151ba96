#include "os/thread.h"

#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "os/linux/errno_error.h"

namespace trel::os {
namespace {

// Processor sets of any size: the kernel refuses a set smaller than its own (EINVAL), so grow until it fits.
ProcessorSetResult read_affinity(pid_t thread) {
    for (std::size_t count = 1024; count <= (std::size_t(1) << 20); count *= 2) {
        cpu_set_t* mask = CPU_ALLOC(count);
        if (!mask) return {{}, error_of(ENOMEM)};
        const std::size_t bytes = CPU_ALLOC_SIZE(count);
        CPU_ZERO_S(bytes, mask);
        const int result = sched_getaffinity(thread, bytes, mask);
        const int error = errno;
        ProcessorSetResult found;
        if (result == 0) {
            for (u32 i = 0; i < count; i++) {
                if (CPU_ISSET_S(i, bytes, mask)) found.set.processors.push_back(i);
            }
        }
        CPU_FREE(mask);
        if (result == 0) return found;
        if (error != EINVAL) return {{}, error_of(error)};
    }
    return {{}, error_of(EINVAL)};
}

// Read before main(), so that a pinned thread which asks first does not narrow the answer.
const std::vector<u32> g_processors_at_start = read_affinity(0).set.processors;

}  // namespace

OsError set_current_thread_priority(ThreadPriority priority) {
    int nice = 0;
    switch (priority) {
        case ThreadPriority::idle: nice = 19; break;
        case ThreadPriority::lowest: nice = 10; break;
        case ThreadPriority::below_normal: nice = 5; break;
        case ThreadPriority::normal: nice = 0; break;
        case ThreadPriority::above_normal: nice = -5; break;
        case ThreadPriority::highest: nice = -10; break;
        case ThreadPriority::time_critical: nice = -20; break;
    }
    const auto thread = static_cast<id_t>(syscall(SYS_gettid));
    if (setpriority(PRIO_PROCESS, thread, nice) != 0) return error_of(errno);
    return {};
}

u64 processor_group_count() { return 1; }

const std::vector<u32>& processors_of_group(u64 group) {
    static const std::vector<u32> none;
    return group == 0 ? g_processors_at_start : none;
}

u64 active_processor_count() {
    const u64 n = g_processors_at_start.size();
    return n == 0 ? 1 : n;
}

OsError set_current_thread_processors(const ProcessorSet& set) {
    if (set.group != 0 || set.processors.empty()) return error_of(EINVAL);
    const std::size_t count = std::size_t(set.processors.back()) + 1;
    cpu_set_t* mask = CPU_ALLOC(count);
    if (!mask) return error_of(ENOMEM);
    const std::size_t bytes = CPU_ALLOC_SIZE(count);
    CPU_ZERO_S(bytes, mask);
    for (const u32 processor : set.processors) CPU_SET_S(processor, bytes, mask);
    const int result = sched_setaffinity(0, bytes, mask);
    const int error = errno;
    CPU_FREE(mask);
    if (result != 0) return error_of(error);
    return {};
}

ProcessorSetResult current_thread_processors() { return read_affinity(0); }

}  // namespace trel::os
