// Work that an interrupt stops cleanly.
#pragma once

#include <functional>

#include "os/interrupt.h"
#include "platform/parallel/run_monitor.h"

namespace trel {

// How long work may go on after an interrupt. It polls several times a second, so by then it has long
// stopped, unless it waits for a disk. What `overdue` does comes on top; the process is to end within two
// seconds whatever happens (digits/output/interrupted.cpp).
inline constexpr u32 kGraceMilliseconds = 1500;

// Runs the body with interrupts (os/interrupt.h) taken: the first one asks the monitor's work to stop. When
// the body goes on for kGraceMilliseconds more, `overdue` is called on another thread; it may say what is
// left, and ends the process. A second interrupt ends the process at once.
//
// Returns whether the body was interrupted. RunStopped does not pass. Every other exception does, also after
// an interrupt: the program then ends as a failed one and not as an interrupted one. One at a time.
bool run_interruptible(RunMonitor& monitor, const std::function<void()>& body,
                       const std::function<void()>& overdue = os::end_as_interrupted);

}  // namespace trel
