// A computation of the extractor as the program carries it out: shown on the console, ended by interrupts.
#pragma once

#include "digits/bbp/bbp_session.h"

namespace kalvor::BBPv2 {

// Runs the session to its end. An interrupt (os/interrupt.h) stops it: then one line says how far it came,
// and RunStopped is thrown, which ends the process as an interrupted one.
void run_on_console(BBPSession& session);

}  // namespace kalvor::BBPv2
