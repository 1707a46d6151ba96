#include "os/thread.h"

#include "os/windows/last_error.h"

namespace trel::os {

OsError set_current_thread_priority(ThreadPriority priority) {
    int value = THREAD_PRIORITY_NORMAL;
    switch (priority) {
        case ThreadPriority::idle:
            value = THREAD_PRIORITY_IDLE;
            break;
        case ThreadPriority::lowest:
            value = THREAD_PRIORITY_LOWEST;
            break;
        case ThreadPriority::below_normal:
            value = THREAD_PRIORITY_BELOW_NORMAL;
            break;
        case ThreadPriority::normal:
            break;
        case ThreadPriority::above_normal:
            value = THREAD_PRIORITY_ABOVE_NORMAL;
            break;
        case ThreadPriority::highest:
            value = THREAD_PRIORITY_HIGHEST;
            break;
        case ThreadPriority::time_critical:
            value = THREAD_PRIORITY_TIME_CRITICAL;
            break;
    }
    if (!SetThreadPriority(GetCurrentThread(), value)) return error_of(GetLastError());
    return {};
}

}  // namespace trel::os
