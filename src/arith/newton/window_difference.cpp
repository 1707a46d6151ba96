#include "arith/newton/window_difference.h"

#include <algorithm>
#include <string>

#include "arith/bigfloat/number_check.h"
#include "arith/newton/error_term.h"
#include "arith/residue/carried.h"
#include "base/errors/exceptions.h"

namespace trel::newton {

BigFloat words_between(const ParallelContext& parallel, const BigFloat& A, i64 low, i64 high) {
    take_up(parallel, "newton::words_between()", A);
    BigFloat view = A;
    low = std::max(low, A.exp);
    high = std::min(high, A.mag());
    view.L = low < high ? static_cast<u64>(high - low) : 0;
    view.T += view.L == 0 ? 0 : low - A.exp;
    view.exp = low;
    // From A's residue and the words outside, so that a change of the words inside shows.
    const u64 outside = carried::add(A.residue_between(parallel, A.exp, low),
                                     A.residue_between(parallel, std::max(low, high), A.mag()));
    view.residue = carried::sub(A.residue, outside);
    strip(parallel, view);
    view.sign = A.sign;
    return view;
}

Crossing subtract_windows(const ParallelContext& parallel, BigFloat& D, u64 precision, const BigFloat& A,
                          const BigFloat& B, i64 w, const char* function) {
    const Word top_a = A.word_at(w - 1);
    const Word top_b = B.word_at(w - 1);
    // Between the two a multiple of 2^(64 (w - 1)) may lie, and then one of 2^(64 w) as well.
    const bool near = top_a == top_b || top_a == top_b + 1 || top_a + 1 == top_b;
    Crossing crossing = Crossing::none;
    if (near && top_a == ~Word(0) && top_b == 0) {
        crossing = Crossing::product_above;
        D.set_rsub(precision, parallel, B, A, w, !A.sign);
    } else if (near && top_a == 0 && top_b == ~Word(0)) {
        crossing = Crossing::product_below;
        D.set_rsub(precision, parallel, A, B, w, A.sign);
    } else if (near) {
        D.set_sub(precision, parallel, A, B);
    }
    if (!near || (D.L != 0 && D.mag() > w - 1))
        throw AlgorithmFailedException(function, "Convergence Failure:\n    topA = " + std::to_string(top_a) +
                                                     "\n    topB = " + std::to_string(top_b));
    return crossing;
}

}  // namespace trel::newton
