// Dates as text.
#pragma once

#include <string>

#include "os/clock.h"

namespace trel {

// "Sun Mar  1 09:05:07 2026": the form of the C library's asctime(), without its line feed and whatever the
// locale.
std::string date_time_text(const os::LocalTime& time);
// "20260301-090507": the form of names of files.
std::string date_time_name(const os::LocalTime& time);
// The local time now.
std::string date_time_text();

}  // namespace trel
