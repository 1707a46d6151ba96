#include "arith/multiply/floating_point_control.h"

#include <xmmintrin.h>

#include "os/types.h"

namespace trel {

bool floating_point_control_is_right() {
    constexpr u32 kExceptionFlags = 0x3f, kDefault = 0x1f80;
    return (_mm_getcsr() & ~kExceptionFlags) == kDefault;
}

}  // namespace trel
