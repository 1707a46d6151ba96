#include "os/windows/last_error.h"

#include <cerrno>

namespace trel::os {
namespace {

ErrorCategory category_of(DWORD value) {
    switch (value) {
        case ERROR_SUCCESS:
            return ErrorCategory::none;
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return ErrorCategory::not_found;
        case ERROR_ACCESS_DENIED:
            return ErrorCategory::access_denied;
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_OUTOFMEMORY:
            return ErrorCategory::not_enough_memory;
        case ERROR_NOT_READY:
            return ErrorCategory::not_ready;
        case ERROR_CRC:
            return ErrorCategory::corrupt_data;
        case ERROR_WRITE_FAULT:
            return ErrorCategory::write_fault;
        case ERROR_READ_FAULT:
            return ErrorCategory::read_fault;
        case ERROR_HANDLE_DISK_FULL:
        case ERROR_DISK_FULL:
            return ErrorCategory::disk_full;
        case ERROR_INVALID_PARAMETER:
            return ErrorCategory::invalid_parameter;
        case ERROR_DEVICE_NOT_CONNECTED:
            return ErrorCategory::disconnected;
        case ERROR_WORKING_SET_QUOTA:
            return ErrorCategory::quota;
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
            return ErrorCategory::sharing;
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            return ErrorCategory::exists;
        default:
            return ErrorCategory::other;
    }
}

int c_number_of(DWORD value) {
    switch (value) {
        case ERROR_SUCCESS:
            return 0;
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return ENOENT;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
        case ERROR_WRITE_PROTECT:
            return EACCES;
        case ERROR_NOT_ENOUGH_MEMORY:
        case ERROR_OUTOFMEMORY:
            return ENOMEM;
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            return EEXIST;
        case ERROR_HANDLE_DISK_FULL:
        case ERROR_DISK_FULL:
            return ENOSPC;
        case ERROR_NOT_SAME_DEVICE:
            return EXDEV;
        default:
            return EINVAL;
    }
}

}  // namespace

OsError error_of(DWORD system_error) {
    return {static_cast<u32>(system_error), category_of(system_error)};
}

OsError c_error_of(DWORD system_error) {
    return {static_cast<u32>(c_number_of(system_error)), category_of(system_error)};
}

}  // namespace trel::os
