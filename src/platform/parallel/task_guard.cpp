#include "platform/parallel/task_guard.h"

#include "base/errors/fatal.h"

namespace trel {

void run_guarded(BasicAction& action, u64 index) noexcept {
    try {
        action.run(index);
    } catch (...) {
        fatal_thread_exception(kChildThreadFailed);
    }
}

}  // namespace trel
