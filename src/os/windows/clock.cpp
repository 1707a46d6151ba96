#include "os/clock.h"

#include <windows.h>

#include <ctime>

namespace trel::os {

u64 performance_counter() {
    LARGE_INTEGER ticks;
    return QueryPerformanceCounter(&ticks) ? static_cast<u64>(ticks.QuadPart) : 0;
}

u64 performance_frequency() {
    LARGE_INTEGER frequency;
    return QueryPerformanceFrequency(&frequency) ? static_cast<u64>(frequency.QuadPart) : 0;
}

// The frequency is all that the system tells about it.
std::string clock_source_name(const std::string&) {
    return {};
}

ProcessTimes process_times() {
    FILETIME creation, exit, kernel, user;
    if (!GetProcessTimes(GetCurrentProcess(), &creation, &exit, &kernel, &user)) return {};
    auto seconds = [](const FILETIME& t) {  // from units of 100 ns
        return static_cast<double>(static_cast<u64>(t.dwHighDateTime) << 32 | t.dwLowDateTime) * 1e-7;
    };
    return {seconds(user), seconds(kernel)};
}

i64 unix_time() {
    return static_cast<i64>(std::time(nullptr));
}

LocalTime local_time(i64 unix_time) {
    const std::time_t t = static_cast<std::time_t>(unix_time);
    std::tm parts{};
    localtime_s(&parts, &t);
    return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_wday,
            parts.tm_hour,        parts.tm_min,     parts.tm_sec};
}

}  // namespace trel::os
