#include "arith/newton/error_term.h"

#include <string>

#include "arith/kernels/word_array.h"
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

Estimate checked(const BigFloat& T, Estimate side, u64 previous_p, const char* function) {
    if (T.L == 0) return Estimate::exact;
    if (T.mag() > error_bound(previous_p)) fail_size(function, side, previous_p, T.mag());
    return side;
}

}  // namespace

void strip(const ParallelContext& P, BigFloat& T) {
    T.L = bp_nonzero_length(T.T, T.L, P);
    if (T.L == 0) {
        T.exp = 0;
        T.sign = true;
    }
}

Estimate take_error_at_units(const ParallelContext& P, BigFloat& T, u64 previous_p, const char* function) {
    // A product of this kind has its top word at position 0 or -1; anything else comes from a fault.
    if (T.L == 0) fail_size(function, Estimate::under, previous_p, 1);
    if (T.mag() > 1 || T.word_at(0) > 1) fail_top(function, T.T[T.L - 1]);
    if (T.mag() == 1) {
        T.L -= 1;
        strip(P, T);
        return checked(T, Estimate::over, previous_p, function);
    }
    if (T.mag() < 0) fail_size(function, Estimate::under, previous_p, 0);
    bp_negate(T.T, T.L, P);
    strip(P, T);
    return checked(T, Estimate::under, previous_p, function);
}

Estimate take_error_below(const ParallelContext& P, BigFloat& T, i64 t, u64 previous_p,
                          const char* function) {
    if (T.L == 0) return Estimate::exact;
    const Word top = T.word_at(t - 1);
    if (top == 0) return checked(T, Estimate::over, previous_p, function);
    if (top != ~Word(0)) fail_top(function, top);
    bp_negate(T.T, T.L, P);
    strip(P, T);
    return checked(T, Estimate::under, previous_p, function);
}

}  // namespace trel::newton
