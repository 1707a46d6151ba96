// Opens a digit file of any format by the ending of its name.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "digits/files/basic_digit_reader.h"
#include "platform/fileio/file_calls.h"

namespace kalvor {

// What follows the last "." of the path, with it; empty without one. Compared exactly: ".TXT" is not an
// extension of ours.
std::string_view digit_file_extension(std::string_view path);

// ".txt": a text file, whose radix follows from its digits; ".kvd": the set that the file belongs to, with
// further folders to look for its files in. Throws FileException "This file is incomplete." for one that is
// still written, InvalidParametersException "No Extension found.", "Unrecognized Extension: ...", and what
// the readers throw. function: where these errors say that they are found.
std::unique_ptr<BasicDigitReader> open_digit_file(
    const std::string& path, const std::vector<std::string>& folders = {},
    const char* function = "open_digit_file()",
    const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());

}  // namespace kalvor
