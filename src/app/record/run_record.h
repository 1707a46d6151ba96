// Everything that a finished run can be reported from: filled by the session, read by whatever writes a
// report.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/clock/timer.h"
#include "base/names/names.h"
#include "digits/output/digit_stats.h"
#include "os/types.h"
#include "platform/sysinfo/system_record.h"

namespace kalvor {

// A file that a run has left.
struct WrittenFile {
    std::string path;
    u64 bytes = 0;
};

// What was compared with something computed another way, and agreed; a run that finds a difference ends with
// an exception instead of a record.
struct RunChecks {
    u64 series_blocks = 0;   // of the sum
    u64 series_checked = 0;  // of them, by their residues
    bool conversion = false;
    bool files = false;  // read back: hash and counts
    u64 products = 0;    // compared with their operands
    u64 numbers = 0;     // compared with the residues that they carried through memory
    u64 errors = 0;      // found, and gone when the operation was done again
    // Decimal digits that the value's own error leaves certain, when these are not all.
    std::optional<u64> certain_digits = {};
};

struct RunRecord {
    SystemRecord system;
    std::string constant;
    std::string algorithm;
    u64 decimal_digits = 0;
    u64 hexadecimal_digits = 0;  // 0 = disabled
    std::string start_date;
    std::string end_date;
    TimeSpan compute_time;
    double compute_seconds = 0;  // computation and radix conversion
    double wall_seconds = 0;     // start to end
    std::optional<OutputStats> decimal;
    std::optional<OutputStats> hexadecimal;
    std::vector<WrittenFile> files;
    RunChecks checks;
    i64 spot_check = 0;  // the last position that was compared with known digits, 0: none
    std::string event_log;
};

}  // namespace kalvor
