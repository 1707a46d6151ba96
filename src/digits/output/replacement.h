// The rule for a digit file that is there already.
#pragma once

#include <string>

#include "base/names/names.h"
#include "digits/files/digit_sink.h"
#include "os/types.h"

namespace kalvor {

struct Replacement {
    bool of_read_only = false;  // the file is marked as not to be written
    std::string remark;         // "Replacing <path> (1,000,000 digits)."; empty: nothing is there
};

// Whether a run may put a file of `digits` digits under that name, and what it then replaces. Throws
// FileException: for a longer file, one that is not a digit file, and one that must not be written or cannot
// be read, unless `overwrite`; for a folder and a file that is being written in any case.
Replacement check_replacement(const DigitFormat& format, const std::string& path, u8 radix, u64 digits,
                              bool overwrite,
                              const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());

}  // namespace kalvor
