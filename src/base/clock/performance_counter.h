// The counter that every timer reads.
#pragma once

#include "os/clock.h"
#include "os/types.h"

namespace trel {

// The counter's value; ends the process with an error line when it is 0, which is how the system says that it
// cannot be read.
u64 readable_counter(u64 ticks);
inline u64 performance_counter() {
    return readable_counter(os::performance_counter());
}

}  // namespace trel
