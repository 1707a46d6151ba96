#include "base/clock/date_text.h"

#include <cstdio>

namespace trel {

std::string date_time_text(const os::LocalTime& t) {
    static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    char text[80];
    std::snprintf(text, sizeof text, "%s %s %2d %02d:%02d:%02d %d", kDays[t.weekday], kMonths[t.month - 1],
                  t.day, t.hour, t.minute, t.second, t.year);
    return text;
}

std::string date_time_name(const os::LocalTime& t) {
    char text[80];
    std::snprintf(text, sizeof text, "%04d%02d%02d-%02d%02d%02d", t.year, t.month, t.day, t.hour, t.minute,
                  t.second);
    return text;
}

std::string date_time_text() {
    return date_time_text(os::local_time(os::unix_time()));
}

}  // namespace trel
