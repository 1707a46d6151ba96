// What a validation file is, from its bytes alone, and how its signature is put behind it.
#pragma once

#include <string>
#include <string_view>

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

// A whole file: the text, the separator, and the signature of all before it. The text ends in a line end.
std::string signed_text(const std::string& text);

}  // namespace kalvor
