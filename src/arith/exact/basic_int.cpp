#include "arith/exact/basic_int.h"

#include <cstring>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/word_array.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "base/errors/fatal.h"

namespace trel {

void BasicInt::require(u64 words, const char* function) const {
    if (buffer_size < words) throw BufferTooSmallException(function, buffer_size, words);
}

void BasicInt::add(const BasicInt& B, const ParallelContext& parallel) {
    if (L < B.L) {
        assertion_failure(kInvalidParameters, "BasicInt::operator+=()", "The second operand is longer.");
    }
    require(L + 1, "BasicInt::operator+=()");
    T[L] = 0;
    u8 carry;
    if (B.L > kParallelLength) {
        const i64 n = static_cast<i64>(B.L);
        carry = bp_add(T, {T, B.L, 0}, {B.T, B.L, 0}, 0, 0, n, parallel);
    } else {
        carry = add_n(T, T, B.T, B.L);
    }
    if (carry != 0) {
        add_word_ip(T + B.L, L + 1 - B.L, 1);
        if (T[L] != 0) L++;
    }
    residue = goldilocks::add(residue, B.residue);
}

BasicInt& BasicInt::operator+=(const BasicInt& B) {
    add(B, serial_context());
    return *this;
}

void BasicInt::sub(const BasicInt& B, const ParallelContext& parallel) {
    constexpr const char* function = "BasicInt::operator-=()";
    if (L < B.L) throw UnsupportedNegativeException(function, "A negative value was encountered.");
    require(L + 1, function);
    // A borrow that leaves the top ends in the guard word.
    T[L] = 1;
    u8 borrow;
    if (B.L > kParallelLength) {
        const i64 n = static_cast<i64>(B.L);
        borrow = bp_sub(T, {T, B.L, 0}, {B.T, B.L, 0}, 0, 0, n, parallel);
    } else {
        borrow = sub_n(T, T, B.T, B.L);
    }
    if (borrow != 0) sub_word_ip(T + B.L, L + 1 - B.L, 1);
    if (T[L] != 1) throw UnsupportedNegativeException(function, "A negative value was encountered.");
    L = bp_nonzero_length(T, L, parallel);
    if (L == 0) throw UnsupportedZeroException(function, "Zero was encountered.");
    residue = goldilocks::sub(residue, B.residue);
}

BasicInt& BasicInt::operator-=(const BasicInt& B) {
    sub(B, serial_context());
    return *this;
}

void BasicInt::set_sqrB(const BasicInt& A) {
    require(2 * A.L, "BasicInt::set_sqrB()");
    if (A.L == 1) {
        const u128 p = u128(A.T[0]) * A.T[0];
        T[0] = Word(p);
        T[1] = Word(p >> 64);
    } else {
        sqr_basecase(T, A.T, A.L);
    }
    L = 2 * A.L - (T[2 * A.L - 1] == 0);
    residue = goldilocks::mul(A.residue, A.residue);
}

void BasicInt::set_BasicInt(const BasicInt& A) {
    require(A.L, "BasicInt::set_BasicInt()");
    std::memcpy(T, A.T, A.L * sizeof(Word));
    L = A.L;
    residue = A.residue;
}

void BasicInt::mul_uW(Word w) {
    if (w == 0) throw UnsupportedZeroException("BasicInt::mul_uW()", "Zero was encountered.");
    require(L + 1, "BasicInt::mul_uW()");
    const Word top = bp_mul_uW(T, T, L, w, 0, serial_context());
    if (top != 0) T[L++] = top;
    residue = goldilocks::mul(residue, goldilocks::of_word(w));
}

void BasicIntR::set_word(Word w) {
    if (w == 0) throw UnsupportedZeroException("BasicIntR::set_word()", "Zero was encountered.");
    require(1, "BasicIntR::set_word()");
    T[0] = w;
    L = 1;
    residue = goldilocks::of_word(w);
}

void BasicIntR::set_mulB(const BasicInt& A, const BasicInt& B) {
    const u64 n = A.L + B.L;
    require(n, "BasicIntR::set_mulB()");
    if (n == 2) {
        const u128 p = u128(A.T[0]) * B.T[0];
        T[0] = Word(p);
        T[1] = Word(p >> 64);
    } else if (A.L >= B.L) {
        mul_basecase(T, A.T, A.L, B.T, B.L);
    } else {
        mul_basecase(T, B.T, B.L, A.T, A.L);
    }
    L = n - (T[n - 1] == 0);
    residue = goldilocks::mul(A.residue, B.residue);
}

namespace {
constexpr u64 kAlignment = 64;  // for the vector kernels
}

void BasicIntO::allocate(u64 words) {
    storage_ = GuardedBuffer(words * sizeof(Word), kAlignment);
    T = static_cast<Word*>(storage_.get());
    buffer_size = words;
}

BasicIntO::BasicIntO(Word w) {
    if (w == 0) throw UnsupportedZeroException("BasicIntO::BasicIntO()", "Zero was encountered.");
    allocate(4);
    T[0] = w;
    L = 1;
    residue = goldilocks::of_word(w);
}

BasicIntO& BasicIntO::operator*=(const BasicInt& A) {
    const u64 n = L + A.L + 2;
    const GuardedBuffer words(n * sizeof(Word), kAlignment);
    BasicIntR product(static_cast<Word*>(words.get()), n);
    if (&A == this) {
        product.set_sqrB(A);
    } else {
        product.set_mulB(*this, A);
    }
    allocate(product.L + 2);
    set_BasicInt(product);
    return *this;
}

}  // namespace trel
