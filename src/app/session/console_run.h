// A run as the program carries it out: shown on the console, ended by interrupts.
#pragma once

#include "app/record/run_record.h"
#include "app/session/authorization_token.h"
#include "app/settings/compute_settings.h"

namespace kalvor {

// Runs the settings to the end and returns its record. An interrupt (os/interrupt.h) stops the run: then one
// line says which files are left, and RunStopped is thrown. A run that does not stop in time ends the process
// from another thread, with the same line. While it lasts interrupts are taken from the process.
RunRecord run_on_console(ComputeSettings settings, const AuthorizationToken& token);

}  // namespace kalvor
