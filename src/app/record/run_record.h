// Everything that a finished run can be reported from: filled by the session, read by whatever writes a
// report.
#pragma once

#include <optional>
#include <string>

#include "digits/output/digit_stats.h"
#include "os/types.h"
#include "platform/sysinfo/system_record.h"

namespace kalvor {

struct RunRecord {
    trel::SystemRecord system;
    std::string constant;
    std::string algorithm;
    trel::u64 decimal_digits = 0;
    trel::u64 hexadecimal_digits = 0;  // 0 = disabled
    std::string start_date;
    std::string end_date;
    double compute_seconds = 0;  // computation and radix conversion
    double wall_seconds = 0;     // start to end
    std::optional<OutputStats> decimal;
    std::optional<OutputStats> hexadecimal;
    std::string event_log;
};

}  // namespace kalvor
