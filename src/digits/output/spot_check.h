// Compares digits of a known constant with a reference table kept on disk.
//
// The table is a text file of lines "position | digits": the ten digits that end at the position, as a
// number. Blanks and tabs around the two numbers and commas in them do not count; lines without "|" and
// positions below 10 are comments.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "base/console/colors.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/files/basic_digit_reader.h"
#include "os/types.h"
#include "platform/fileio/file_calls.h"

namespace kalvor {

struct SpotCheckTable {
    std::map<u64, u64> entries;  // by position; of a repeated position the first
    u64 duplicates = 0;
};
SpotCheckTable parse_spot_check_table(std::string_view text);

struct SpotCheck {
    // The last position checked, minus the first that differs, or 0 when no check was possible.
    i64 position = 0;
    std::string text;  // "Good through 1,000"
    Console::ColorLetter color = 'Y';
    u64 duplicates = 0;  // of the table
    u64 last_good = 0;   // the last position that agreed, also before one that differs
};
// "Spot Check: ..."; before it, for each repeated position, "Error parsing digit file: Duplicate entries.".
void report(Status& status, const SpotCheck& check);

// Checks every entry within the first `digits` digits of the source, in ascending order, up to the first that
// differs.
//
// The table is name + ".txt" in the first of the folders "Binaries/Digits/", "Digits/", "../../Digits/" and
// "../../../Digits/", from the program on. source: decimal, with at least `digits` digits. Allocates a buffer
// for ten digits and the table.
SpotCheck spot_check(BasicDigitReader& source, u64 digits, const std::string& name,
                     const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());
// The same below a folder (ending with a separator) instead of the program's.
SpotCheck spot_check(BasicDigitReader& source, u64 digits, const std::string& name,
                     const std::string& program_folder,
                     const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());

}  // namespace kalvor
