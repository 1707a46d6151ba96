#include "digits/files/digit_packing.h"

namespace trel {
namespace avx2 {
extern const kalvor::DigitPacking digit_packing;
}
namespace avx512 {
extern const kalvor::DigitPacking digit_packing;
}
}  // namespace trel

namespace kalvor {

const DigitPacking& digit_packing(Isa isa) {
    return TREL_TABLE(isa, digit_packing);
}

const DigitPacking& digit_packing() {
    static const DigitPacking& kernels = digit_packing(active_isa());
    return kernels;
}

}  // namespace kalvor
