#include "constants/builtin/huvent_terms.h"

#include "base/errors/exceptions.h"
#include "constants/builtin/leaf_words.h"

namespace kalvor {

void catalan_huvent_term(u64 k, BasicIntR& P, BasicIntR& Q) {
    using namespace leaf;
    constexpr u64 kWords = 18;
    for (const BasicIntR* T : {&P, &Q}) {
        if (T->buffer_size < kWords) {
            throw BufferTooSmallException("Catalan_Huvent_BSR_End()", T->buffer_size, kWords);
        }
    }
    static constexpr i64 kPolynomial[] = {
        4636372233093120,   37721048963088384,  140614334152704000, 318025249742389248, 486920573914447872,
        532937589964406784, 428868733241327616, 256653109156773888, 113872382317283328, 36670081182465024,
        8098743309464448,   1029713994232704,   5572409156528,      -24153149527360,    -4419704161120,
        -360406957080,      -11728430425};
    set_polynomial(P, kPolynomial, k);

    set(Q, 2 * k + 1);
    multiply(Q, 2 * k + 1);
    for (const u64 factor :
         {4 * k + 1, 4 * k + 3, 6 * k + 1, 6 * k + 5, 12 * k + 1, 12 * k + 5, 12 * k + 7, 12 * k + 11}) {
        multiply(Q, factor, 2);
    }
}

}  // namespace kalvor
