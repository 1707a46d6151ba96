#include "arith/multiply/work_area.h"

#include "os/types.h"

namespace trel {

void check_work_area(const ParallelContext& parallel, const void* area) {
    if (reinterpret_cast<u64>(area) % 64 == 0) return;
    parallel.warn({{"Data Misalignment. Possible performance penalty.", ' ', true}});
}

}  // namespace trel
