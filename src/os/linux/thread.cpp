#include "os/thread.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "os/linux/errno_error.h"

namespace trel::os {

OsError set_current_thread_priority(ThreadPriority priority) {
    int nice = 0;
    switch (priority) {
        case ThreadPriority::idle:
            nice = 19;
            break;
        case ThreadPriority::lowest:
            nice = 10;
            break;
        case ThreadPriority::below_normal:
            nice = 5;
            break;
        case ThreadPriority::normal:
            nice = 0;
            break;
        case ThreadPriority::above_normal:
            nice = -5;
            break;
        case ThreadPriority::highest:
            nice = -10;
            break;
        case ThreadPriority::time_critical:
            nice = -20;
            break;
    }
    // Nice values belong to threads here, not to processes.
    const auto thread = static_cast<id_t>(syscall(SYS_gettid));
    if (setpriority(PRIO_PROCESS, thread, nice) != 0) return error_of(errno);
    return {};
}

}  // namespace trel::os
