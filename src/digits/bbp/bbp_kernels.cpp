#include "digits/bbp/bbp_kernels.h"

namespace trel {
namespace avx2 {
extern const kalvor::BbpKernels bbp_kernels;
}
namespace avx512 {
extern const kalvor::BbpKernels bbp_kernels;
}
}  // namespace trel

namespace kalvor {

const BbpKernels& bbp_kernels(Isa isa) {
    return TREL_TABLE(isa, bbp_kernels);
}

const BbpKernels& bbp_kernels() {
    static const BbpKernels& kernels = bbp_kernels(active_isa());
    return kernels;
}

}  // namespace kalvor
