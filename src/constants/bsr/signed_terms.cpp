#include "constants/bsr/signed_terms.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"

namespace kalvor::BinarySplitting {
namespace {

Word magnitude(i64 c) {
    return c < 0 ? Word(0) - static_cast<Word>(c) : static_cast<Word>(c);
}

u64 bit_width(u128 x) {
    const u64 high = static_cast<u64>(x >> 64);
    return static_cast<u64>(high != 0 ? 64 + std::bit_width(high) : std::bit_width(static_cast<u64>(x)));
}

// |A| *= k
void multiply(ExactFloat& A, Word k) {
    Word carry = 0;
    for (u64 i = 0; i < A.L; i++) {
        const u128 p = u128(A.T[i]) * k + carry;
        A.T[i] = static_cast<Word>(p);
        carry = static_cast<Word>(p >> 64);
    }
    if (carry != 0) A.T[A.L++] = carry;
}

// |A| += w
void add(ExactFloat& A, Word w) {
    for (u64 i = 0; w != 0; i++) {
        if (i == A.L) A.T[A.L++] = 0;
        A.T[i] += w;
        w = A.T[i] < w ? 1 : 0;
    }
}

// |A| -= w, with the sign of what is left
void subtract(ExactFloat& A, Word w) {
    if (A.L == 1 && A.T[0] <= w) {
        A.T[0] = w - A.T[0];
        A.sign = !A.sign;
    } else {
        for (u64 i = 0; w != 0; i++) {
            const Word borrow = A.T[i] < w ? 1 : 0;
            A.T[i] -= w;
            w = borrow;
        }
    }
    while (A.L != 0 && A.T[A.L - 1] == 0) A.L--;
}

}  // namespace

SignedPolynomial::SignedPolynomial(std::vector<i64> coefficients) : coefficients_(std::move(coefficients)) {
    if (coefficients_.empty()) {
        throw InvalidParametersException("SignedPolynomial::SignedPolynomial()", "Invalid Parameters");
    }
    u128 sum = 0;
    for (const i64 c : coefficients_) sum += magnitude(c);
    sum_bits_ = bit_width(sum);
    log_coefficients_ = std::log(std::max(1.0, static_cast<double>(sum))) + 1e-9;
}

u64 SignedPolynomial::bits_of(u64 k) {
    return static_cast<u64>(std::bit_width(k));
}

void SignedPolynomial::set(ExactFloat& A, u64 k, const char* function) const {
    const u64 room = words(k);
    if (A.buffer_size < room) throw BufferTooSmallException(function, A.buffer_size, room);
    A.clear();
    const u64 residue_of_k = goldilocks::of_word(k);
    for (u64 i = coefficients_.size(); i-- > 0;) {
        const i64 c = coefficients_[i];
        const Word w = magnitude(c);
        const bool positive = c >= 0;
        const u64 residue_of_w = goldilocks::of_word(w);
        multiply(A, k);
        A.residue = goldilocks::add(goldilocks::mul(A.residue, residue_of_k),
                                    positive ? residue_of_w : goldilocks::neg(residue_of_w));
        if (w == 0) continue;
        if (A.L == 0) A.sign = positive;
        if (A.sign == positive) {
            add(A, w);
        } else {
            subtract(A, w);
        }
    }
    if (A.L == 0) A.sign = true;
}

}  // namespace kalvor::BinarySplitting
