// A short wait for something that another thread is about to do: long enough to bridge the gaps between the
// tasks of a computation, short enough that an idle thread costs nothing.
#pragma once

#include <thread>

#include "os/cpu.h"
#include "os/types.h"

namespace trel::os {

// One per wait. The first microsecond or two only pauses the processor; then the wait gives way to other
// threads, so that waiting threads never hold up working ones; after about 50 microseconds it is
// time to sleep.
class SpinWait {
  public:
    // Waits a moment. False when the caller should go to sleep instead.
    bool once() {
        if (pauses_ < kPauses) {
            pauses_++;
            __builtin_ia32_pause();
            return true;
        }
        if (start_ == 0) start_ = read_tsc();
        std::this_thread::yield();
        return read_tsc() - start_ < kCycles;
    }

  private:
    static constexpr u32 kPauses = 24;
    static constexpr u64 kCycles = 150'000;

    u32 pauses_ = 0;
    u64 start_ = 0;
};

}  // namespace trel::os
