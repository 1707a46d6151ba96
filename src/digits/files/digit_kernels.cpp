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

bool are_digits(const u8* values, u64 n, u32 radix) {
    u8 largest = 0;
    for (u64 i = 0; i < n; i++) largest = largest < values[i] ? values[i] : largest;
    return largest < radix;
}

const DigitKernels& digit_kernels(Isa isa) {
    return TREL_TABLE(isa, digit_kernels);
}

const DigitKernels& digit_kernels() {
    static const DigitKernels& kernels = digit_kernels(active_isa());
    return kernels;
}

}  // namespace kalvor
