#include "arith/exact/exact_float.h"

#include <algorithm>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/word_array.h"
#include "arith/multiply/dispatch.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

// Residue of |B| with the sign of T.
u64 residue_with_sign(const ExactFloat& T, const ExactFloat& B) {
    return T.sign == B.sign ? B.residue : goldilocks::neg(B.residue);
}

PlacedWords placed(const ExactFloat& A) {
    return {A.T, A.L, A.exp};
}

void require(u64 buffer_size, u64 words, const char* function) {
    if (buffer_size < words) throw BufferTooSmallException(function, buffer_size, words);
}

[[noreturn]] void range_error(const char* function, const char* message) {
    throw InvalidParametersException(function, message);
}

// The buffer must reach down to B.
void check_low(const ExactFloat& T, const ExactFloat& B, const char* function) {
    if (B.L != 0 && B.exp < T.Tmin()) range_error(function, "Bexp < Tmin");
}
// A sum may carry into one more word.
void check_sum(const ExactFloat& T, const ExactFloat& B, const char* function, bool B_first) {
    const bool a = T.L != 0 && T.mag() >= T.Tmax();
    const bool b = B.L != 0 && B.mag() >= T.Tmax();
    if (b && (B_first || !a)) range_error(function, "Bmag >= Tmax");
    if (a) range_error(function, "Amag >= Tmax");
    check_low(T, B, function);
}
void check_difference(const ExactFloat& T, const ExactFloat& B, const char* function, bool B_first) {
    const bool a = T.L != 0 && T.mag() > T.Tmax();
    const bool b = B.L != 0 && B.mag() > T.Tmax();
    if (b && (B_first || !a)) range_error(function, "Bmag > Tmax");
    if (a) range_error(function, "Amag > Tmax");
    check_low(T, B, function);
}

}  // namespace

void ExactFloat::set_BasicInt(const BasicInt& A, bool sign_of_A, const ParallelContext& parallel) {
    require(buffer_size, A.L, "ExactFloat::set_BasicInt()");
    T = buffer;
    L = A.L;
    exp = 0;
    sign = sign_of_A;
    residue = sign ? A.residue : goldilocks::neg(A.residue);
    bp_copy(T, A.T, L * sizeof(Word), parallel);
}

void ExactFloat::set_ExactFloat(const ExactFloat& A, const ParallelContext& parallel) {
    require(buffer_size, A.L, "ExactFloat::set_ExactFloat()");
    T = buffer;
    L = A.L;
    exp = A.exp;
    sign = A.sign;
    residue = A.residue;
    bp_copy(T, A.T, L * sizeof(Word), parallel);
}

void ExactFloat::mp2(i64 k, const ParallelContext& parallel) {
    if (L == 0) return;
    const u64 offset = static_cast<u64>(T - buffer);
    require(buffer_size, offset + L + 1, "ExactFloat::mp2()");
    const Word w = Word(1) << (static_cast<u64>(k) % 64);
    if (w != 1) {
        const Word top = bp_mul_uW(T, T, L, w, 0, parallel);
        if (top != 0) T[L++] = top;
        residue = goldilocks::mul(residue, goldilocks::of_word(w));
    }
    exp += k >> 6;
    residue = goldilocks::times_words(residue, k >> 6);
}

void ExactFloat::set_add(const ExactFloat& A, const ExactFloat& B, const ParallelContext& parallel) {
    const u64 sum = goldilocks::add(A.residue, B.residue);
    if (A.L == 0 || B.L == 0) {
        set_ExactFloat(A.L == 0 ? B : A, parallel);
        residue = sum;
        return;
    }
    constexpr const char* function = "ExactFloat::set_add()";
    if (A.sign != B.sign) throw InvalidParametersException(function, "Not implemented yet.");
    const i64 lo = std::min(A.exp, B.exp), hi = std::max(A.mag(), B.mag());
    const u64 n = static_cast<u64>(hi - lo);
    require(buffer_size, n + 1, function);
    T = buffer;
    const u8 carry = bp_add(T, placed(A), placed(B), 0, lo, hi, parallel);
    if (carry != 0) T[n] = 1;
    L = n + carry;
    exp = lo;
    sign = A.sign;
    residue = sum;
}

void ExactFloat::set_mul(const MultiplyContext& context, const ExactFloat& A, const ExactFloat& B) {
    const u64 product = goldilocks::mul(A.residue, B.residue);
    if (A.L == 0 || B.L == 0) {
        clear();
        residue = product;
        return;
    }
    const u64 n = A.L + B.L;
    require(buffer_size, n, "ExactFloat::set_mul()");
    T = buffer;
    if (n == 2) {
        const u128 p = u128(A.T[0]) * B.T[0];
        T[0] = Word(p);
        T[1] = Word(p >> 64);
    } else if (n < kBasecaseLength) {
        if (A.L >= B.L) {
            mul_basecase(T, A.T, A.L, B.T, B.L);
        } else {
            mul_basecase(T, B.T, B.L, A.T, A.L);
        }
    } else {
        // Products that are not checked have no use for what the operands carry.
        Carried carried;
        if (!context.parallel.inner_unchecked || n > kShortProductWords) {
            carried = {A.words_residue(), B.words_residue()};
        }
        multiply_full(context, T, A.T, A.L, B.T, B.L, carried);
    }
    exp = A.exp + B.exp;
    L = n - (T[n - 1] == 0);
    sign = A.sign == B.sign;
    residue = product;
}

void ExactFloat::uadd_ip(const ParallelContext& parallel, const ExactFloat& B) {
    if (B.L == 0) {
        residue = goldilocks::add(residue, residue_with_sign(*this, B));
        return;
    }
    if (L == 0) {
        // Take B's place inside the frame, as an empty number there.
        T = at(B.exp);
        exp = B.exp;
    }
    const u64 sum = goldilocks::add(residue, residue_with_sign(*this, B));
    // Only positions that B reaches, and gaps, are computed; words of T elsewhere stay where they are.
    const i64 top = mag();
    const i64 begin = std::min(B.exp, top);
    const i64 end = std::max(B.mag(), exp);
    u8 carry = bp_add(at(begin), placed(*this), placed(B), 0, begin, end, parallel);
    i64 new_top = std::max(top, end);
    if (carry != 0 && end < top) carry = add_word_ip(at(end), static_cast<u64>(top - end), 1);
    if (carry != 0) *at(new_top++) = 1;
    const i64 bottom = std::min(exp, begin);
    T = at(bottom);
    exp = bottom;
    L = static_cast<u64>(new_top - bottom);
    residue = sum;
}

void ExactFloat::uaddAB_ip(const ParallelContext& parallel, const ExactFloat& B) {
    check_sum(*this, B, "ExactFloat::uaddAB_ip()", false);
    uadd_ip(parallel, B);
}

void ExactFloat::uaddBA_ip(const ParallelContext& parallel, const ExactFloat& B) {
    check_sum(*this, B, "ExactFloat::uaddBA_ip()", true);
    uadd_ip(parallel, B);
}

void ExactFloat::usubAB_ip(const ParallelContext& parallel, const ExactFloat& B) {
    constexpr const char* function = "ExactFloat::usubAB_ip()";
    check_difference(*this, B, function, false);
    const u64 difference = goldilocks::sub(residue, residue_with_sign(*this, B));
    if (B.L == 0) {
        residue = difference;
        return;
    }
    const i64 top = mag();
    if (L == 0 || B.mag() > top) {
        throw UnsupportedNegativeException(function, "A negative value was encountered.");
    }
    const i64 end = std::max(B.mag(), exp);
    u8 borrow = bp_sub(at(B.exp), placed(*this), placed(B), 0, B.exp, end, parallel);
    if (borrow != 0) borrow = sub_word_ip(at(end), static_cast<u64>(top - end), 1);
    if (borrow != 0) throw UnsupportedNegativeException(function, "A negative value was encountered.");
    const i64 bottom = std::min(exp, B.exp);
    T = at(bottom);
    exp = bottom;
    L = bp_nonzero_length(T, static_cast<u64>(top - bottom), parallel);
    residue = difference;
}

void ExactFloat::usubBA_ip(const ParallelContext& parallel, const ExactFloat& B) {
    constexpr const char* function = "ExactFloat::usubBA_ip()";
    check_difference(*this, B, function, true);
    const i64 top = B.mag();
    if (L != 0 && (B.L == 0 || mag() > top)) {
        throw UnsupportedNegativeException(function, "A negative value was encountered.");
    }
    const u64 difference = goldilocks::sub(residue_with_sign(*this, B), residue);
    if (B.L == 0) {
        residue = difference;
        return;
    }
    if (L == 0) {
        T = at(B.exp);
        exp = B.exp;
    }
    const i64 bottom = std::min(exp, B.exp);
    if (bp_sub(at(bottom), placed(B), placed(*this), 0, bottom, top, parallel) != 0) {
        throw UnsupportedNegativeException(function, "A negative value was encountered.");
    }
    T = at(bottom);
    exp = bottom;
    L = bp_nonzero_length(T, static_cast<u64>(top - bottom), parallel);
    residue = difference;
}

int compare_magnitudes(const ExactFloat& A, const ExactFloat& B) {
    if (A.L == 0 || B.L == 0) return int(A.L != 0) - int(B.L != 0);
    return bp_cmp(placed(A), placed(B));
}

void ExactFloat::add_signed_ip(const ParallelContext& parallel, const ExactFloat& B, bool subtract) {
    const bool sign_of_B = B.sign != subtract;
    if (B.L == 0) {
        residue = subtract ? goldilocks::sub(residue, B.residue) : goldilocks::add(residue, B.residue);
        return;
    }
    if (L == 0) {
        const u64 sum = subtract ? goldilocks::sub(residue, B.residue) : goldilocks::add(residue, B.residue);
        set_ExactFloat(B, parallel);
        sign = sign_of_B;
        residue = sum;
        return;
    }
    if (sign == sign_of_B) return uaddAB_ip(parallel, B);
    if (compare_magnitudes(*this, B) >= 0) {
        usubAB_ip(parallel, B);
    } else {
        usubBA_ip(parallel, B);
        sign = !sign;
        residue = goldilocks::neg(residue);
    }
    if (L != 0) return;
    // Nothing is left but a residue, which is 0 unless there was a fault.
    sign = true;
    exp = 0;
    T = buffer;
}

void ExactFloat::strip_low_zeros(u64 unit) {
    u64 zeros = 0;
    while (zeros < L && T[zeros] == 0) zeros++;
    if (zeros == L) return;
    zeros -= zeros % unit;
    T += zeros;
    L -= zeros;
    exp += static_cast<i64>(zeros);
}

u64 ExactFloat::computed_residue(const ParallelContext& parallel) const {
    return L == 0 ? 0 : goldilocks::of_words(parallel, T, L, exp, sign);
}

}  // namespace trel
