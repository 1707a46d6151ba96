// Interrupts from outside: Ctrl-C, a request to end (SIGTERM), a terminal that goes away (SIGHUP, the closing
// of a console window, logging off, shutting down).
#pragma once

#include <functional>
#include <memory>

#include "os/types.h"

namespace trel::os {

// Ends the process the way the system ends interrupted ones, so that a calling shell or script sees it: by
// the signal that came last on Linux, with exit code 0xC000013A on Windows. Without an interrupt: as by
// Ctrl-C. No destructors, no exit handlers; what the C library's streams hold is written first.
[[noreturn]] void end_as_interrupted();

// Leaves a terminal on the standard output as the user should find it: the default colour and a line of its
// own for what comes next; with `erase` the line that the cursor is on goes. Takes no locks and does not
// wait for a terminal that is stopped.
void leave_terminal(bool erase);

// While one exists, a first interrupt calls `first` on a thread of our own instead of ending the process.
// `overdue` follows on that thread when the watch still exists `grace_milliseconds` later; it is for work
// that cannot stop in time, and normally ends the process. A second interrupt ends the process at once,
// whatever it is doing, after leave_terminal(true).
//
// An interrupt that the process was started to ignore (nohup, a background job) stays ignored. Watches nest:
// the last one made gets the interrupt, and they end in reverse order. The destructor waits for a call that
// is running and gives the interrupts back to the watch before or to the system; it must not run on the
// watch's own thread.
class InterruptWatch {
  public:
    InterruptWatch(std::function<void()> first, std::function<void()> overdue, u32 grace_milliseconds);
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace trel::os
