// What closes a run on the console, made from its record alone.
#pragma once

#include <string>

#include "app/record/run_record.h"
#include "base/names/names.h"
#include "base/status/status.h"

namespace kalvor {

// Digits, counts and hashes, dates and times, the processors' use, and the result: the files and what was
// checked.
void print_run_report(const RunRecord& record, Status& status);

// "Verified: ", without the word: "series residues (2 of 3), conversion, written files"; what was switched
// off follows as "not checked: ...". Short enough for one line of a terminal; series have tens of blocks.
std::string checks_text(const RunChecks& checks, bool written);

// "Checks: 12,345 products, 6,789 numbers, 0 errors"
std::string counts_of_checks(const RunChecks& checks);

}  // namespace kalvor
