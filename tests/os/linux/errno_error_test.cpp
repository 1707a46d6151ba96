// errno -> category, row by row. Windows numbers mean other things: 5 is a fault here and a refusal there.
#include "os/linux/errno_error.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace trel;
using namespace trel::os;

TEST(ErrnoErrorTest, EveryRow) {
    using enum ErrorCategory;
    struct Row {
        int value;
        ErrorCategory category;
    };
    const Row rows[] = {
        {0, none},
        {ENOENT, not_found},
        {ENOTDIR, not_found},
        {EACCES, access_denied},
        {EPERM, access_denied},
        {EROFS, access_denied},
        {ENOMEM, not_enough_memory},
        {ENXIO, not_ready},
        {ENOMEDIUM, not_ready},
        {EBADMSG, corrupt_data},
        {EILSEQ, corrupt_data},
        {EUCLEAN, corrupt_data},
        {ENOSPC, disk_full},
        {EDQUOT, disk_full},
        {EFBIG, disk_full},
        {EINVAL, invalid_parameter},
        {ENODEV, disconnected},
        {ESHUTDOWN, disconnected},
        {ESTALE, disconnected},
        {EAGAIN, quota},
        {EEXIST, exists},
        {EINTR, interrupted},
        {EBADF, other},
        {EISDIR, other},
        {ENAMETOOLONG, other},
        {87, other},
        {112, other},
        {1453, other},
    };
    for (const Row& row : rows) {
        for (const Direction direction : {Direction::none, Direction::reading, Direction::writing}) {
            const OsError error = error_of(row.value, direction);
            EXPECT_EQ(error.category, row.category) << row.value;
            EXPECT_EQ(error.code, static_cast<u32>(row.value));
            EXPECT_EQ(error.failed(), row.value != 0);
        }
    }
    EXPECT_EQ(error_of(EIO, Direction::writing).category, write_fault);
    EXPECT_EQ(error_of(EIO, Direction::reading).category, read_fault);
    EXPECT_EQ(error_of(EIO).category, read_fault);
}
