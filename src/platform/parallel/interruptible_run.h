// Work that an interrupt stops cleanly.
#pragma once

#include <functional>

#include "platform/parallel/run_monitor.h"

namespace trel {

// Runs the body with interrupts (os/interrupt.h) taken: the first one asks the monitor's work to stop; a body
// that goes on for 1.5 seconds more is ended with the process, as is one that is interrupted twice. Whether
// it was interrupted; RunStopped does not pass, every other exception does. One at a time.
bool run_interruptible(RunMonitor& monitor, const std::function<void()>& body);

}  // namespace trel
