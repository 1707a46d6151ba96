// The rule for a digit file that is there already.
#pragma once

#include <optional>
#include <string>

#include "base/names/names.h"
#include "digits/files/digit_sink.h"
#include "os/types.h"

namespace kalvor {

struct Replacement {
    bool of_read_only = false;  // the file is marked as not to be written
    std::optional<u64> digits;  // of the output that is there, all files of a set together
    std::string remark;         // "Replacing <path> (1,000,000 digits)."; empty: nothing is there
};

// How a refusal names the action that wants to write.
struct ReplacementWords {
    const char* function = "OutputFiles()";
    const char* maker = "this run makes";  // "... 1,000 digits"
    const char* way_out =
        "Move it away or choose another folder. On a command line -overwrite:1 replaces it.";
};

// Whether a run may put a file of `digits` digits under that name, and what it then replaces. Throws
// FileException: for a longer file, one that is not a digit file, and one that must not be written or cannot
// be read, unless `overwrite`; for a folder and a file that is being written in any case. `of_set`: what
// another file of the same set has said of its digits; they are then not counted again.
Replacement check_replacement(const DigitFormat& format, const std::string& path, u8 radix, u64 digits,
                              bool overwrite,
                              const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine(),
                              std::optional<u64> of_set = {}, const ReplacementWords& words = {});

}  // namespace kalvor
