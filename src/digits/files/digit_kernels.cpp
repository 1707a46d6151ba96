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

bool are_digits(const trel::u8* values, trel::u64 n, trel::u32 radix) {
    trel::u8 largest = 0;
    for (trel::u64 i = 0; i < n; i++) largest = largest < values[i] ? values[i] : largest;
    return largest < radix;
}

const DigitKernels& digit_kernels(trel::Isa isa) {
    return TREL_TABLE(isa, digit_kernels);
}

const DigitKernels& digit_kernels() {
    static const DigitKernels& kernels = digit_kernels(trel::active_isa());
    return kernels;
}

}  // namespace kalvor
