// What the user sees of a crash.
#pragma once

#include "os/crash_handler.h"

namespace trel {

// Reports every crash from here on, of any thread, by report_crash(). After the console options have been
// read.
void install_crash_report();

// Says that the program has crashed, writes a mini-dump "Kalvor-<date>-<time>.dmp" into the current folder,
// and waits for a key unless the console settings say not even before a fatal exit. A dump that cannot be
// completed is removed; a file or link that has its name already is left alone. Holds the console lock
// meanwhile, so that a second thread that crashes comes after the first; it then waits a second, which the
// system uses to end the process. Takes no memory and does not touch the console's sink. Without a record (an
// exception of unknown kind that nobody caught) the dump has no exception in it; its frames are the caller's.
void report_crash(const os::CrashRecord* record) noexcept;

}  // namespace trel
