#include "arith/ntt/c17_ends.h"

namespace trel {

const C17EndKernels& c17_end_kernels(Isa isa) {
    return isa == Isa::avx512 ? avx512::c17_end_kernels : avx2::c17_end_kernels;
}

const C17EndKernels& c17_end_kernels() {
    static const C17EndKernels& chosen = c17_end_kernels(active_isa());
    return chosen;
}

}  // namespace trel
