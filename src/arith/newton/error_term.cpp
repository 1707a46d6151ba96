#include "arith/newton/error_term.h"

#include <string>

#include "arith/bigfloat/number_check.h"
#include "arith/kernels/word_array.h"
#include "arith/residue/carried.h"
#include "base/errors/exceptions.h"

namespace trel::newton {
namespace {

[[noreturn]] void fail_top(const char* function, Word top) {
    throw AlgorithmFailedException(function, "Convergence Failure:\n    top = " + std::to_string(top));
}

[[noreturn]] void fail_size(const char* function, Estimate side, u64 previous_p, i64 magnitude) {
    throw AlgorithmFailedException(function, std::string(side == Estimate::over ? "Over" : "Under") +
                                                 "-Estimate -> Convergence Failure:\n    Maximum Error = " +
                                                 std::to_string(-static_cast<i64>(previous_p)) +
                                                 "\n    Actual Error  = " + std::to_string(magnitude));
}

// |T - 2^(64 mag)|, for a T whose top word is not zero.
void negate(const ParallelContext& parallel, BigFloat& T) {
    const u64 one = carried::of_word(1, T.mag(), T.sign);
    bp_negate(T.T, T.L, parallel);
    T.residue = carried::sub(one, T.residue);
    strip(parallel, T);
}

Estimate checked(const BigFloat& T, Estimate side, u64 previous_p, const char* function) {
    if (is_zero(T, function)) return Estimate::exact;
    if (T.mag() > error_bound(previous_p)) fail_size(function, side, previous_p, T.mag());
    return side;
}

}  // namespace

void strip(const ParallelContext& parallel, BigFloat& T) {
    T.L = bp_nonzero_length(T.T, T.L, parallel);
    if (T.L == 0) {
        T.exp = 0;
        T.sign = true;
    }
    hand_over("newton::strip()", T);
}

Estimate take_error_at_units(const ParallelContext& parallel, BigFloat& T, u64 previous_p,
                             const char* function) {
    // A product of this kind has its top word at position 0 or -1; anything else comes from a fault.
    if (T.L == 0) fail_size(function, Estimate::under, previous_p, 1);
    if (T.mag() > 1 || T.word_at(0) > 1) fail_top(function, T.T[T.L - 1]);
    if (T.mag() == 1) {
        T.residue = carried::sub(T.residue, carried::of_word(1, 0, T.sign));
        T.L -= 1;
        strip(parallel, T);
        return checked(T, Estimate::over, previous_p, function);
    }
    if (T.mag() < 0) fail_size(function, Estimate::under, previous_p, 0);
    negate(parallel, T);
    return checked(T, Estimate::under, previous_p, function);
}

Estimate take_error_below(const ParallelContext& parallel, BigFloat& T, i64 t, u64 previous_p,
                          const char* function) {
    if (is_zero(T, function)) return Estimate::exact;
    const Word top = T.word_at(t - 1);
    if (top == 0) return checked(T, Estimate::over, previous_p, function);
    if (top != ~Word(0)) fail_top(function, top);
    negate(parallel, T);
    return checked(T, Estimate::under, previous_p, function);
}

}  // namespace trel::newton
