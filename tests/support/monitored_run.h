// A run in a test: what its work hands to the monitor appears on the console as a session shows it.
#pragma once

#include "base/status/linear_console_node.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

class MonitoredRun {
  public:
    MonitoredRun() = default;
    ~MonitoredRun() { show(); }
    MonitoredRun(const MonitoredRun&) = delete;
    MonitoredRun& operator=(const MonitoredRun&) = delete;

    // The context's framework and tasks, with this run's monitor.
    ParallelContext context(ParallelContext parallel = serial_context()) {
        parallel.run = &monitor_;
        return parallel;
    }
    Warnings& warnings() { return monitor_.warnings; }
    u64 corrected() const { return monitor_.checks.corrected; }
    void show() {
        LinearConsoleNode status(79, 1.0);
        monitor_.warnings.report(status);
    }

  private:
    RunMonitor monitor_;
};

}  // namespace trel
