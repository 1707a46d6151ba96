#include "os/linux/errno_error.h"

#include <cerrno>

namespace trel::os {
namespace {

ErrorCategory category_of(int value, Direction direction) {
    switch (value) {
        case 0:
            return ErrorCategory::none;
        case ENOENT:
        case ENOTDIR:
            return ErrorCategory::not_found;
        case EACCES:
        case EPERM:
        case EROFS:
            return ErrorCategory::access_denied;
        case ENOMEM:
            return ErrorCategory::not_enough_memory;
        case ENXIO:
        case ENOMEDIUM:
            return ErrorCategory::not_ready;
        case EBADMSG:
        case EILSEQ:
        case EUCLEAN:
            return ErrorCategory::corrupt_data;
        case EIO:
            return direction == Direction::writing ? ErrorCategory::write_fault : ErrorCategory::read_fault;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return ErrorCategory::disk_full;
        case EINVAL:
            return ErrorCategory::invalid_parameter;
        case ENODEV:
        case ESHUTDOWN:
        case ESTALE:
            return ErrorCategory::disconnected;
        case EAGAIN:
            return ErrorCategory::quota;
        case EEXIST:
            return ErrorCategory::exists;
        case EINTR:
            return ErrorCategory::interrupted;
        default:
            return ErrorCategory::other;
    }
}

}  // namespace

OsError error_of(int errno_value, Direction direction) {
    return {static_cast<u32>(errno_value), category_of(errno_value, direction)};
}

}  // namespace trel::os
