// Compares digits of a known constant with a reference table kept on disk.
//
// The table is a text file of lines "position | digits": the ten digits that end at the position, as a
// number. Blanks and tabs around the two numbers and commas in them do not count; lines without "|" and
// positions below 10 are comments.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "digits/files/basic_digit_reader.h"
#include "os/types.h"

namespace kalvor {

// Entries by position. A repeated position prints "Error parsing digit file: Duplicate entries." and keeps
// its first entry.
std::map<trel::u64, trel::u64> parse_spot_check_table(std::string_view text);

// Checks every entry within the first `digits` digits of the source, in ascending order, and prints the
// outcome as "Spot Check: ...". Returns the last position checked, minus the first that differs, or 0 when no
// check was possible.
//
// The table is name + ".txt" in the first of the folders "Binaries/Digits/", "Digits/", "../../Digits/" and
// "../../../Digits/", from the program on. source: decimal, with at least `digits` digits. Allocates a buffer
// for ten digits and the table.
trel::i64 spot_check(BasicDigitReader& source, trel::u64 digits, const std::string& name);
// The same below a folder (ending with a separator) instead of the program's.
trel::i64 spot_check(BasicDigitReader& source, trel::u64 digits, const std::string& name,
                     const std::string& program_folder);

}  // namespace kalvor
