#include "arith/kernels/word_kernels.h"

namespace trel {

namespace avx2 {
extern const WordKernels kWordKernels;
}
namespace avx512 {
extern const WordKernels kWordKernels;
}

const WordKernels& word_kernels(Isa isa) {
    return isa == Isa::avx512 ? avx512::kWordKernels : avx2::kWordKernels;
}

const WordKernels& word_kernels() {
    static const WordKernels& kernels = word_kernels(active_isa());
    return kernels;
}

}  // namespace trel
