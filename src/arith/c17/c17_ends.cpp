#include "arith/c17/c17_ends.h"

namespace trel {

const C17EndKernels& c17_end_kernels(Isa isa) {
    return TREL_TABLE(isa, c17_end_kernels);
}

const C17EndKernels& c17_end_kernels() {
    static const C17EndKernels& chosen = c17_end_kernels(active_isa());
    return chosen;
}

}  // namespace trel
