#include "os/linux/crash_clock.h"

#include <time.h>

namespace trel::os {
namespace {

constexpr i64 kDay = 86400;

i64 offset_at(i64 unix_time) {
    const time_t t = static_cast<time_t>(unix_time);
    tm parts{};
    return localtime_r(&t, &parts) != nullptr ? parts.tm_gmtoff : 0;
}

// The calendar of seconds since 1970, from 1970 on. The year is counted from March, so that the leap day is
// its last.
LocalTime calendar(i64 seconds) noexcept {
    const i64 days = seconds / kDay, rest = seconds % kDay;
    constexpr i64 kDaysOf400Years = 146097;
    const i64 since = days + 719468;  // days since 1 March of year 0
    const i64 era = since / kDaysOf400Years;
    const i64 day_of_era = since % kDaysOf400Years;
    const i64 year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
    const i64 day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const i64 month = (5 * day_of_year + 2) / 153;  // 0 = March
    LocalTime time;
    time.day = static_cast<int>(day_of_year - (153 * month + 2) / 5 + 1);
    time.month = static_cast<int>(month < 10 ? month + 3 : month - 9);
    time.year = static_cast<int>(400 * era + year_of_era + (month >= 10 ? 1 : 0));
    time.weekday = static_cast<int>((days + 4) % 7);  // 1 January 1970 was a Thursday
    time.hour = static_cast<int>(rest / 3600);
    time.minute = static_cast<int>(rest / 60 % 60);
    time.second = static_cast<int>(rest % 60);
    return time;
}

}  // namespace

void CrashClock::learn(i64 now) {
    tzset();
    i64 offset = offset_at(now);
    changes_[0] = {now, offset};
    n_changes_ = 1;
    for (i64 day = now; day < now + 731 * kDay && n_changes_ < kMostChanges; day += kDay) {
        if (offset_at(day + kDay) == offset) continue;
        i64 before = day, after = day + kDay;
        while (after - before > 1) {
            const i64 middle = before + (after - before) / 2;
            (offset_at(middle) == offset ? before : after) = middle;
        }
        offset = offset_at(after);
        changes_[n_changes_++] = {after, offset};
    }
}

LocalTime CrashClock::local_time(i64 unix_time) const noexcept {
    i64 offset = 0;
    for (int i = 0; i < n_changes_; i++) {
        if (i == 0 || unix_time >= changes_[i].from) offset = changes_[i].seconds;
    }
    return calendar(unix_time + offset);
}

}  // namespace trel::os
