#include "digits/files/digit_kernels.h"

namespace trel {
namespace avx2 {
extern const kalvor::DigitKernels digit_kernels;
}
namespace avx512 {
extern const kalvor::DigitKernels digit_kernels;
}
}  // namespace trel

namespace kalvor {

const DigitKernels& digit_kernels(trel::Isa isa) {
    return TREL_TABLE(isa, digit_kernels);
}

const DigitKernels& digit_kernels() {
    static const DigitKernels& kernels = digit_kernels(trel::active_isa());
    return kernels;
}

}  // namespace kalvor
