// Digits of a range into a text file.
#pragma once

#include <string>

#include "digits/files/basic_digit_reader.h"
#include "digits/viewer/viewer_run.h"

namespace kalvor::DigitViewer2 {

// Digits start ... end, numbered from 1, follow the "." of the new file, whatever start is. path: ".txt" is
// added where it is missing. A longer digit file of that name, and anything else that has it, is not replaced
// (replacement.h). Throws what reader and writer throw.
void extract_txt(BasicDigitReader& reader, u64 start, u64 end, const std::string& path, const ViewerRun& run);
// Asks for range and path first.
void extract_txt(BasicDigitReader& reader, const ViewerRunner& runner);

}  // namespace kalvor::DigitViewer2
