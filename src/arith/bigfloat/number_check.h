// What every operation does with the numbers that it reads and writes. Tests may change a number where an
// operation takes it up ("number" of ComputationStages).
//
// With KALVOR_CHECK_NUMBERS, a build for tests, every number is compared with the residue that it carries
// when an operation reads it and when one has written it. An operation whose rule for the residue is wrong in
// a rare branch shows there at once, and not as a false alarm in a long run.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/residue/carried.h"

namespace trel {

// Compares and throws as BigFloat::verify() does; `role` says which number of the operation it is.
void check_number(const BigFloat& A, const char* operation, const char* role);

inline void take_up(const ParallelContext& parallel, [[maybe_unused]] const char* operation,
                    const BigFloat& A) {
    parallel.stage("number", A.T, A.L * sizeof(Word));
#ifdef KALVOR_CHECK_NUMBERS
    check_number(A, operation, "an operand");
#endif
}

inline void hand_over([[maybe_unused]] const char* operation, [[maybe_unused]] const BigFloat& T) {
#ifdef KALVOR_CHECK_NUMBERS
    check_number(T, operation, "the result");
#endif
}

// Throws as verify() does: zero words with the residue of another number.
[[noreturn]] void words_are_lost(const BigFloat& A, const char* operation);

// Whether A is zero. An operation that leaves zeros out asks here: a length that has changed to 0 must not
// drop the number.
inline bool is_zero(const BigFloat& A, const char* operation) {
    if (A.L != 0) return false;
    if (carried::known(A.residue) && A.residue != 0) words_are_lost(A, operation);
    return true;
}

}  // namespace trel
