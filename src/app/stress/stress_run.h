// The run of the stress tester: one thread for each chosen core, test after test, until time, an error or the
// user ends it.
#pragma once

#include <functional>
#include <vector>

#include "app/stress/stress_settings.h"
#include "app/stress/stress_test.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "os/error.h"
#include "platform/memory/allocate_heap.h"
#include "platform/parallel/run_monitor.h"

namespace kalvor {

// What a run asks of the machine, and of tests.
struct StressCalls {
    const CoreNumbers* cores;         // that the settings count by
    std::function<double()> seconds;  // of a steady clock; the calling thread of run_stress()
    // On the worker's thread. The system's number of the processor.
    std::function<os::OsError(u32 processor)> set_affinity;
    // On the worker's thread. Throws AllocationFailed, or what else the machine refuses.
    std::function<HeapAllocation(u32 core, u64 bytes, bool local)> allocate;
    StressTests tests;
    StressFault fault = {};
    // What sees the stages of the products of a core; only tests have one.
    std::function<ComputationStages*(u32 core)> stages = {};

    static const StressCalls& of_this_machine();
};

// Runs the enabled tests and reports each, with the cores that failed. False when a core failed or could not
// be tested at all, or when no test could run. The monitor's stop flag ends it with the usual closing lines;
// they do not wait for cores that are slow to stop, the end of the function does.
bool run_stress(const StressSettings& settings, Status& status, RunMonitor& monitor,
                const StressCalls& calls);

}  // namespace kalvor
