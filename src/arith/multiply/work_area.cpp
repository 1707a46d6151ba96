#include "arith/multiply/work_area.h"

#include "base/console/console.h"
#include "os/types.h"

namespace trel {

void check_work_area(const void* area) {
    if (reinterpret_cast<u64>(area) % 64 == 0) return;
    Console::error_line("Data Misalignment. Possible performance penalty.");
    Console::pause();
}

}  // namespace trel
