#include "os/system_clock.h"

#include <windows.h>

namespace trel::os {

u64 system_clock_nanoseconds() {
    FILETIME time;
    GetSystemTimePreciseAsFileTime(&time);
    const u64 ticks =
        static_cast<u64>(time.dwHighDateTime) << 32 | time.dwLowDateTime;  // of 100 ns since 1601
    constexpr u64 kTicksTo1970 = 116444736000000000;
    return ticks > kTicksTo1970 ? (ticks - kTicksTo1970) * 100 : 0;
}

}  // namespace trel::os
