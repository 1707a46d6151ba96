// How every facility of this folder reports a failure: the system's own number, to be shown to the user, and
// the category that texts and decisions are keyed by. Nothing here prints or throws.
#pragma once

#include <string>

#include "os/types.h"

namespace trel::os {

enum class ErrorCategory : u8 {
    none = 0,
    not_found,      // the path, or a folder of it, does not exist
    access_denied,  // permission, or a read-only file system
    not_enough_memory,
    not_ready,     // the device is there but does not answer
    corrupt_data,  // the device reports a checksum failure
    write_fault,
    read_fault,
    disk_full,          // also an exceeded quota and the largest file size
    invalid_parameter,  // misaligned unbuffered access shows up as this
    disconnected,
    quota,    // a limit on locked memory
    sharing,  // another process or handle holds the file
    exists,   // the target of a rename is in the way
    interrupted,
    other,
};

struct [[nodiscard]] OsError {
    u32 code = 0;  // 0 = success
    ErrorCategory category = ErrorCategory::none;

    bool failed() const { return category != ErrorCategory::none; }
    explicit operator bool() const { return failed(); }
};

// What the system's own table says of a code of its own, in its language; no full stop at the end.
std::string system_error_text(u32 code);

}  // namespace trel::os
