// errno -> OsError; private to this back end.
#pragma once

#include "os/error.h"

namespace trel::os {

// EIO means a different fault when reading and when writing.
enum class Direction : u8 { none, reading, writing };

OsError error_of(int errno_value, Direction direction = Direction::none);

}  // namespace trel::os
