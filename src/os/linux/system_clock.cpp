#include "os/system_clock.h"

#include <time.h>

namespace trel::os {

u64 system_clock_nanoseconds() {
    timespec t;
    if (clock_gettime(CLOCK_REALTIME, &t) != 0) return 0;
    return static_cast<u64>(t.tv_sec) * 1000000000u + static_cast<u64>(t.tv_nsec);
}

}  // namespace trel::os
