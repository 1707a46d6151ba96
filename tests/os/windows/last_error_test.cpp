// System error numbers -> category, row by row.
#include "os/windows/last_error.h"

#include <gtest/gtest.h>

using namespace trel;
using namespace trel::os;

TEST(LastErrorTest, EveryRow) {
    using enum ErrorCategory;
    struct Row {
        DWORD value;
        ErrorCategory category;
        u32 c_number;
    };
    const Row rows[] = {
        {0, none, 0},
        {2, not_found, 2},
        {3, not_found, 2},
        {5, access_denied, 13},
        {8, not_enough_memory, 12},
        {14, not_enough_memory, 12},
        {17, other, 18},
        {19, other, 13},
        {21, not_ready, 22},
        {23, corrupt_data, 22},
        {29, write_fault, 22},
        {30, read_fault, 22},
        {32, sharing, 13},
        {33, sharing, 13},
        {39, disk_full, 28},
        {80, exists, 17},
        {87, invalid_parameter, 22},
        {112, disk_full, 28},
        {183, exists, 17},
        {1167, disconnected, 22},
        {1453, quota, 22},
        {1, other, 22},
        {28, other, 22},
        {9999, other, 22},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(error_of(row.value).category, row.category) << row.value;
        EXPECT_EQ(error_of(row.value).code, row.value);
        EXPECT_EQ(c_error_of(row.value).category, row.category) << row.value;
        EXPECT_EQ(c_error_of(row.value).code, row.c_number) << row.value;
    }
}
