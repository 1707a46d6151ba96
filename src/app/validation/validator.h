// Tells whether a validation file is as the program wrote it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

inline constexpr const char* kValidationVersion = "1.3";
// Between what is signed, whose last line end it completes, and the signature.
inline constexpr const char* kValidationSeparator = "----\r\n\r\nHMAC-SHA256: ";

struct Validation {
    enum Result {
        passed,
        malformed_hash,  // what follows the separator has not the form of a signature
        tampered,
        invalid_file,
        too_old,
        too_new,
    };
    Result result = invalid_file;
    std::string version;                       // as it stands in the file
    std::string computation_time, total_time;  // of a file that passed
};

// Any bytes.
Validation validate(std::string_view file);

// Prints what is to be said of the file; true when it passed. ".txt" is added to a path that does not end in
// it, or has no more than its four characters. Throws FileException when it cannot be read.
bool run_validator(const std::string& path);
// Asks for the path. Throws EndOfStreamException when nobody answers.
bool run_validator_menu();
// "validate [<file>]": the cursor stands on the word. Throws RefusedException for a second path.
bool run_validate(CommandLine::ParameterList& parameters);

std::vector<std::string> validate_help_page();

}  // namespace kalvor
