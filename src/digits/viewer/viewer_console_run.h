// An action of the viewer as the program carries it out: with the tasks of this machine, ended by interrupts.
#pragma once

#include <functional>

#include "digits/viewer/viewer_run.h"

namespace kalvor::DigitViewer2 {

// An interrupt (os/interrupt.h) stops the action; RunStopped is then thrown, which ends the process as an
// interrupted one. Warnings of the action are printed.
void run_on_console(const std::function<void(const ViewerRun& run)>& action);

}  // namespace kalvor::DigitViewer2
