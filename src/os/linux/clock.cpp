#include "os/clock.h"

#include <sys/resource.h>
#include <time.h>

#include <fstream>

namespace trel::os {

u64 performance_counter() {
    timespec t;
    if (clock_gettime(CLOCK_MONOTONIC_RAW, &t) != 0) return 0;
    return static_cast<u64>(t.tv_sec) * 1000000000u + static_cast<u64>(t.tv_nsec);
}

u64 performance_frequency() {
    return 1000000000u;
}

std::string clock_source_name(const std::string& root) {
    std::ifstream file(root + "/sys/devices/system/clocksource/clocksource0/current_clocksource");
    std::string name;
    file >> name;
    return name;
}

ProcessTimes process_times() {
    rusage usage;
    if (getrusage(RUSAGE_SELF, &usage) != 0) return {};
    auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
    };
    return {seconds(usage.ru_utime), seconds(usage.ru_stime)};
}

i64 unix_time() {
    return static_cast<i64>(time(nullptr));
}

LocalTime local_time(i64 unix_time) {
    const time_t t = static_cast<time_t>(unix_time);
    tm parts{};
    localtime_r(&t, &parts);
    return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_wday,
            parts.tm_hour,        parts.tm_min,     parts.tm_sec};
}

}  // namespace trel::os
