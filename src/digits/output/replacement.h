// The rule for a digit file that is there already.
#pragma once

#include <string>

#include "os/types.h"

namespace kalvor {

enum class Replacement {
    nothing_there,
    replaces,
    replaces_read_only,  // the same for a file that is marked as not to be written
};

// Whether a run may put a file of `digits` digits under that name. If `tell`, the user is told what will be
// replaced: "Replacing <path> (1,000,000 digits).". Throws FileException: for a longer file, one that is no
// digit file, and one that must not be written or cannot be read, unless `overwrite`; for a folder and a file
// that is being written in any case.
Replacement check_replacement(const std::string& path, trel::u8 radix, trel::u64 digits, bool overwrite,
                              bool tell);

}  // namespace kalvor
