// Wall and processor time of an interval.
#pragma once

#include "base/clock/performance_counter.h"
#include "os/clock.h"
#include "os/types.h"

namespace trel {

// Counts from its construction or its last restart(). One thread.
class WallTimer {
  public:
    WallTimer() { restart(); }
    void restart() { start_ = performance_counter(); }
    double seconds() const {
        return static_cast<double>(performance_counter() - start_) /
               static_cast<double>(readable_counter(os::performance_frequency()));
    }

  private:
    u64 start_;
};

// Seconds: by the clock on the wall, and of processor time over all threads of the process.
struct TimeSpan {
    double wall = 0;
    double user = 0;
    double kernel = 0;

    double processor() const { return user + kernel; }
    TimeSpan& operator+=(const TimeSpan& other) {
        wall += other.wall;
        user += other.user;
        kernel += other.kernel;
        return *this;
    }
};

class ProcessTimer {
  public:
    ProcessTimer() { restart(); }
    void restart() {
        wall_.restart();
        start_ = os::process_times();
    }
    TimeSpan elapsed() const {
        const os::ProcessTimes now = os::process_times();
        return {wall_.seconds(), now.user - start_.user, now.kernel - start_.kernel};
    }

  private:
    WallTimer wall_;
    os::ProcessTimes start_;
};

}  // namespace trel
