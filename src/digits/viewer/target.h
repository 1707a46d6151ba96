// What extracting and compressing say of the files that they write.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/status/warnings.h"
#include "digits/files/digit_sink.h"
#include "digits/viewer/viewer_run.h"

namespace kalvor::DigitViewer2 {

// Whether the reader has digits start + 1 ... start + count; says so when it has not.
bool is_accessible(const BasicDigitReader& reader, u64 start, u64 count);

// Refuses to replace what must not be replaced (replacement.h), and says what will be. of_set: see there; it
// is filled for the next file of the same set.
void announce_replacement(std::string_view format, const std::string& path, u8 radix, u64 digits,
                          const ViewerRun& run, std::optional<u64>& of_set);
void announce_replacement(std::string_view format, const std::string& path, u8 radix, u64 digits,
                          const ViewerRun& run);

// Of the run; nullptr without one.
Warnings* warnings_of(const ViewerRun& run);

// After a piece: the position of its last digit.
void print_offset(u64 position);
void print_written(const std::string& path);

}  // namespace kalvor::DigitViewer2
