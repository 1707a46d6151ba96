#include "arith/newton/power_word.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "arith/multiply/product_needs.h"
#include "arith/newton/binary_power.h"
#include "arith/residue/carried.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

const char kRun[] = "Power_uW_uL_BigFloatR::run()";
// The result holds p + 3 words and one more that a multiplication by a word appends.
constexpr u64 kResultExtra = 4;

PowerWordPlan make_plan(u64 p, u64 tds, u64 product_words) {
    return {{p, tds, p + kResultExtra, p + kResultExtra, product_needs(product_words)}};
}

}  // namespace

PowerWordPlan PowerWordPlan::make(u64 p, u64 tds) {
    return make_plan(p, tds, 2 * p + 6);
}

PowerWordPlan PowerWordPlan::make_exact(Word w, u64 n, u64 tds) {
    const u64 p = exact_words(w, n);
    return make_plan(p, tds, p + 3);
}

u64 PowerWordPlan::exact_words(Word w, u64 n) {
    if (w < 2) return 1;
    // floor(bits / 64) + 1 words; the word more covers the rounding of the logarithm, below 2^-52 relative,
    // for every size that fits a memory.
    const long double bits = std::log2(static_cast<long double>(w)) * static_cast<long double>(n);
    if (bits >= 0x1p66L)
        throw LimitExceededException("PowerWordPlan::exact_words()", "Precision", u64(1) << 60, n);
    return static_cast<u64>(bits / 64) + 2;
}

// Left to right: square, multiply by the base where the exponent has a bit. The base is odd: a power of two
// in it is a shift of the result. The numbers alternate between T's buffer and the other so that the last is
// in T.
void Power_uW_uL_BigFloatR::run(const PowerWordPlan& plan, const MultiplyContext& context, Status& status,
                                BigFloat& T, Word w, u64 n, u64 p, LinearWordBuffer buffer) {
    if (p > plan.p) throw LimitExceededException(kRun, "Precision", plan.p, p);
    if (context.parallel.tds > plan.tds)
        throw LimitExceededException(kRun, "Task Decomposition", plan.tds, context.parallel.tds);
    if (T.buffer_size < p + kResultExtra)
        throw BufferTooSmallException(kRun, T.buffer_size, p + kResultExtra);
    if (n == 0) return;
    if (w == 0) return T.clear();

    const unsigned zeros = static_cast<unsigned>(std::countr_zero(w));
    const Word odd = w >> zeros;
    const u128 shift = static_cast<u128>(n) * zeros;
    BigFloat other = carve<BigFloat>(buffer, plan.temporaries);
    const int squarings = odd == 1 ? 0 : std::bit_width(n) - 1;
    BigFloat* now = squarings % 2 == 0 ? &T : &other;
    BigFloat* next = squarings % 2 == 0 ? &other : &T;

    now->T = now->buffer;
    now->T[0] = odd;
    now->L = 1;
    now->exp = 0;
    now->sign = true;
    now->residue = carried::of_word(odd, 0, true);
    const auto square = [&](BigFloat& product, const BigFloat& x) {
        const u64 product_words = 2 * std::min(x.L, p + 3);
        if (product_words > plan.products.product_words)
            throw LimitExceededException(kRun, "Precision", plan.products.product_words, product_words);
        product.set_sqr(p + 1, context, x);
    };
    const auto multiply = [&](BigFloat*& x, BigFloat*&) { x->mul_uW(context.parallel, odd); };
    newton::binary_power(status, odd == 1 ? 1 : n, now, next, kRun, square, multiply);
    if (shift == 0) return;
    newton::check_power_exponent(static_cast<i128>(T.exp) + static_cast<i128>(shift / 64), kRun);
    if (T.L > p + 3) {  // room for the word that the shift appends
        T.residue = carried::sub(T.residue, carried::of_word(T.T[0], T.exp, T.sign));
        T.L -= 1;
        T.exp += 1;
        std::memmove(T.T, T.T + 1, T.L * sizeof(Word));
    }
    T.mul_uW(context.parallel, Word(1) << (shift % 64));
    T.move(static_cast<i64>(shift / 64));
}

}  // namespace trel
