#include "digits/files/word_digits.h"

namespace trel {
namespace avx2 {
extern const kalvor::WordDigits word_digits;
}
namespace avx512 {
extern const kalvor::WordDigits word_digits;
}
}  // namespace trel

namespace kalvor {

const WordDigits& word_digits(Isa isa) {
    return TREL_TABLE(isa, word_digits);
}

const WordDigits& word_digits() {
    static const WordDigits& kernels = word_digits(active_isa());
    return kernels;
}

}  // namespace kalvor
