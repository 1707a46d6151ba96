// What the child processes of the tests of interrupts share: they print what happens to them.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "os/interrupt.h"

namespace kalvor_test {

// Milliseconds. Long enough that no test meets it unless it is meant to.
inline constexpr trel::u32 kNever = 600000;

inline void say(const char* text) {
    std::printf("%s\n", text);
    std::fflush(stdout);
}

inline void wait_until(const std::atomic<bool>& what) {
    while (!what) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// Work that stops at the first interrupt: it says "first", and "overdue" if it has not stopped for kNever.
class StoppedWork {
  public:
    void wait() const { wait_until(stopped_); }

  private:
    std::atomic<bool> stopped_{false};
    trel::os::InterruptWatch watch_{[this] {
                                        say("first");
                                        stopped_ = true;
                                    },
                                    [] { say("overdue"); }, kNever};
};

}  // namespace kalvor_test
