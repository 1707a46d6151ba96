// Number, byte-size and time formats of the console.
#pragma once

#include <span>
#include <string>

#include "os/types.h"

namespace trel::Console {

enum class NumberFormat { plain = 0, commas = 1, bytes = 2, commas_and_bytes = 3 };

std::string format_number(u64 value, NumberFormat mode = NumberFormat::plain);
std::string format_number(i64 value, NumberFormat mode = NumberFormat::plain);  // plain and commas only
std::string format_commas(u64 value);
// " 512 MiB", "12.5 GiB", "1.05 KiB": always four characters before the unit from KiB upwards.
std::string format_bytes(u64 value);
// Fixed-point decimal text with `decimals` digits, independent of the locale.
std::string format_fixed(double value, int decimals);
// "0, 2, 4", in the order in which they stand. Cores and processors: core_list_text() of platform/sysinfo.
std::string format_list(std::span<const u32> numbers);
// "59.500 seconds  ( 0.992 minutes )"
std::string format_time(double seconds);

}  // namespace trel::Console
