#include "platform/parallel/interruptible_run.h"

namespace trel {

bool run_interruptible(RunMonitor& monitor, const std::function<void()>& body,
                       const std::function<void()>& overdue) {
    {
        const os::InterruptWatch watch([&] { monitor.stop.request(); }, overdue, kGraceMilliseconds);
        try {
            body();
        } catch (const RunStopped&) {
        }
    }
    // Also when the interrupt came too late to stop anything: the exit code tells the caller of it.
    return monitor.stop.requested();
}

}  // namespace trel
