// The calling thread's priority.
#pragma once

#include "os/error.h"

namespace trel::os {

enum class ThreadPriority { idle, lowest, below_normal, normal, above_normal, highest, time_critical };

OsError set_current_thread_priority(ThreadPriority priority);

}  // namespace trel::os
