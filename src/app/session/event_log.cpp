#include "app/session/event_log.h"

#include "base/clock/date_text.h"
#include "base/console/format.h"
#include "base/names/names.h"

namespace kalvor {

void EventLog::add(double seconds_since_start, std::string_view name) {
    text_ += date_time_text();
    text_ += '\t';
    text_ += Console::format_fixed(seconds_since_start, 3);
    text_ += '\t';
    text_ += name;
    text_ += "\r\n";
}

}  // namespace kalvor
