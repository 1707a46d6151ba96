#include "platform/fileio/error_text.h"

namespace trel::FileIO {

std::string error_text(os::OsError error) {
    using enum os::ErrorCategory;
    switch (error.category) {
        case not_found:
            return "Path does not exist.";
        case access_denied:
            return "Access Denied";
        case not_enough_memory:
            return "Not Enough Memory";
        case not_ready:
            return "The device is not ready. Is the connection stable?";
        case corrupt_data:
            return "Cyclic Redundancy Check - Possible Hardware Failure";
        case write_fault:
            return "Write Fault";
        case read_fault:
            return "Read Fault";
        case disk_full:
            return "Disk is Full";
        case invalid_parameter:
            return "Invalid parameter. This can happen if the sector alignment is too small.";
        case disconnected:
            return "The device has been disconnected. Is the connection stable?";
        case quota:
            return "Insufficient quota. System may be low on memory.";
        case none:
        case sharing:
        case exists:
        case interrupted:
        case other:
            break;
    }
    return os::system_error_text(error.code);
}

FileException file_error(const char* function, const std::string& message, const std::string& path,
                         os::OsError error) {
    return FileException(function, message + "\n\n" + error_text(error), path, error.code);
}

}  // namespace trel::FileIO
