// Digits into compressed files: a whole number, or some files of its set made again.
#pragma once

#include <string>

#include "digits/files/basic_digit_reader.h"
#include "digits/viewer/viewer_run.h"

namespace kalvor::DigitViewer2 {

// The fewest digits that are compressed, and that a file of a set holds.
inline constexpr u64 kLeastCompressed = 1000000;

struct CompressTarget {
    std::string base;         // folder prefix and name; files are base + " - " + id + ".kvd"
    u64 digits_per_file = 0;  // 0: all in one file
};
// The folder that an answer means: empty and beginning with a blank is the current one, others get their
// final "/".
std::string destination_folder(const std::string& answer);

// Digits 1 ... end. Throws what reader and writer throw, and FileException where a file must not be replaced.
void compress_all(BasicDigitReader& reader, u64 end, const CompressTarget& target, const ViewerRun& run);
// The files first_id ... last_id of the reader's number, cut into digits_per_file; or says that none of its
// digits are in them.
void compress_partial(BasicDigitReader& reader, u64 first_id, u64 last_id, const CompressTarget& target,
                      const ViewerRun& run);

// These ask first.
void compress_all(BasicDigitReader& reader, const ViewerRunner& runner);
void compress_partial(BasicDigitReader& reader, const ViewerRunner& runner);

}  // namespace kalvor::DigitViewer2
