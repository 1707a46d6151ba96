// What the viewer's actions run on: tasks, memory, the run's stop flag, and whom they report to.
#pragma once

#include <functional>

#include "base/names/names.h"
#include "base/status/terminal.h"
#include "digits/output/file_ledger.h"
#include "digits/viewer/moved_digits.h"
#include "os/types.h"
#include "platform/fileio/file_calls.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor::DigitViewer2 {

// What the viewer asks the machine for.
struct ViewerCalls {
    u64 (*available_memory)();  // physical, bytes; 0 = unknown

    static const ViewerCalls& of_this_machine();
};

struct ViewerRun {
    const ParallelContext& parallel;
    Status& status;
    const ViewerCalls& calls = ViewerCalls::of_this_machine();
    const FileIO::FileCalls& files = FileIO::FileCalls::of_this_machine();  // for what is written
    FileLedger* ledger = nullptr;  // learns of every file that is written
    Terminal* terminal = nullptr;  // asks whether a refused name is tried again
    MovedDigits* moved = nullptr;  // learns how far the action is
};

// Carries out what an action does once it has been asked for: with tasks, and ended by interrupts
// (run_on_console()). Questions are asked outside, where an interrupt ends the program at once.
using ViewerRunner = std::function<void(const std::function<void(const ViewerRun& run)>& work)>;

}  // namespace kalvor::DigitViewer2
