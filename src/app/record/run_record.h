// Everything that a finished run can be reported from: filled by the session, read by whatever writes a
// report.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/clock/cpu_utilization.h"
#include "base/clock/reference_clock.h"
#include "base/clock/timer.h"
#include "base/clock/timer_check.h"
#include "base/console/colors.h"
#include "base/names/names.h"
#include "digits/output/digit_stats.h"
#include "os/clock.h"
#include "os/types.h"
#include "platform/sysinfo/system_record.h"

namespace kalvor {

// A file that a run has left.
struct WrittenFile {
    std::string path;  // of a set's first file
    u64 bytes = 0;     // of all its files
    u64 files = 1;
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

// What the comparison with known digits found.
struct SpotCheckResult {
    i64 position = 0;   // the last that was compared, minus the first that differs, 0: none
    u64 last_good = 0;  // before the one that differs
};

struct RunRecord {
    SystemRecord system;
    std::string user;                                // as reports show it: a name, or why there is none
    std::string constant, constant_file, algorithm;  // long name, name in file names, long name
    Console::ColorLetter constant_color = 'w';
    u64 decimal_digits = 0;
    u64 hexadecimal_digits = 0;                // 0 = disabled
    std::string mode, threading;               // display texts
    u64 working_memory = 0, total_memory = 0;  // bytes that the run announces
    std::string configuration;                 // the settings object as text
    std::string folder;                        // of the files, with its final "/"; as the settings name it
    std::string start_date;
    std::string end_date;
    os::LocalTime end_time{};
    TimeSpan compute_time;
    double compute_seconds = 0;  // computation and radix conversion
    double wall_seconds = 0;     // start to end
    u64 processors = 1;          // active ones of the machine
    CpuUtilization utilization;
    std::optional<OutputStats> decimal;
    std::optional<OutputStats> hexadecimal;
    std::vector<WrittenFile> files;
    RunChecks checks;
    SpotCheckResult spot_check;
    // The last hexadecimal digits computed a second time: the last position, or the first that differs.
    std::optional<u64> bbp_good_through, bbp_mismatch;
    TimerCheck timer_check = TimerCheck::unable;
    ReferenceClocks clocks;
    bool debugger = false;
    bool contiguous = true;  // not resumed from a checkpoint
    bool colors = false;
    u64 ecc_recovered = 0;  // errors in data that redundancy has corrected
    std::string event_log;
    std::string validation_file;  // its path, once it is written
};

}  // namespace kalvor
