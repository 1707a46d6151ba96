// Whether a menu may start a run.
#pragma once

#include "app/settings/compute_settings.h"
#include "os/memory_status.h"

namespace kalvor {

// False when such a run on this machine would be refused (app/session/start_check.h). Prints why, so that the
// menu goes on and something else can be chosen.
bool can_start(const ComputeSettings& settings, const os::MemoryStatus& machine = os::memory_status());

}  // namespace kalvor
