// Local time for a crashed process: the C library's own tables are behind a lock that the crash may hold.
#pragma once

#include "os/clock.h"

namespace trel::os {

class CrashClock {
  public:
    // Asks the C library for the offset from UTC at `now` and its changes within the two years that follow.
    // Before the crash; once.
    void learn(i64 now);
    // A time from `now` on; later than two years with the last offset known. UTC when nothing was learnt.
    // Takes no lock and no memory.
    LocalTime local_time(i64 unix_time) const noexcept;

  private:
    struct Change {
        i64 from;     // seconds since 1970
        i64 seconds;  // local time minus UTC from then on
    };
    static constexpr int kMostChanges = 8;
    Change changes_[kMostChanges];
    int n_changes_ = 0;
};

}  // namespace trel::os
