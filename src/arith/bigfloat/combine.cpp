#include "arith/bigfloat/combine.h"

#include <algorithm>
#include <cstring>

#include "arith/bigfloat/number_check.h"
#include "arith/kernels/word_array.h"
#include "arith/residue/carried.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

// Whether nothing of B reaches A's words. Then no sum carries B's residue on, and it is compared here: a
// length or exponent that has changed must not drop it.
bool is_below(const ParallelContext& parallel, const BigFloat& A, const BigFloat& B, const char* function) {
    if (is_zero(B, function)) return true;
    if (B.mag() > A.exp) return false;
    B.verify(parallel, "a number below the sum's words");
    return true;
}

}  // namespace

void combine_ip(const ParallelContext& parallel, BigFloat& A, const BigFloat& B, bool subtract) {
    constexpr const char* function = "combine_ip()";
    if (is_below(parallel, A, B, function)) return;
    const i64 top = std::max(A.mag(), B.mag());
    const i64 begin = std::max(A.exp, std::min(B.exp, A.mag()));
    const i64 end = B.mag();
    const u64 room = A.buffer_size - static_cast<u64>(A.T - A.buffer);
    const u64 words = static_cast<u64>(top - A.exp);
    if (room < words + 1) throw BufferTooSmallException(function, room, words + 1);
    take_up(parallel, function, A);
    take_up(parallel, function, B);
    const u64 added = carried::sub(B.residue, B.residue_between(parallel, B.exp, A.exp));
    const u64 residue =
        (A.sign == B.sign) != subtract ? carried::add(A.residue, added) : carried::sub(A.residue, added);
    Word* T = A.T + (begin - A.exp);
    const PlacedWords a{A.T, A.L, A.exp}, b{B.T, B.L, B.exp};
    if (subtract) {
        u8 borrow = bp_sub(T, a, b, 0, begin, end, parallel);
        if (borrow != 0 && end < top) {
            borrow = sub_word_ip(A.T + (end - A.exp), static_cast<u64>(top - end), 1);
        }
        if (borrow != 0) throw UnsupportedNegativeException(function, "A negative value was encountered.");
        A.L = bp_nonzero_length(A.T, words, parallel);
        A.residue = residue;
        return hand_over(function, A);
    }
    u8 carry = bp_add(T, a, b, 0, begin, end, parallel);
    if (carry != 0 && end < top) {
        carry = add_word_ip(A.T + (end - A.exp), static_cast<u64>(top - end), 1);
    }
    A.L = words;
    if (carry != 0) A.T[A.L++] = 1;
    A.residue = residue;
    hand_over(function, A);
}

void combine_signed_ip(const ParallelContext& parallel, BigFloat& A, const BigFloat& B, bool subtract) {
    constexpr const char* function = "combine_signed_ip()";
    if (is_below(parallel, A, B, function)) return;
    if ((A.sign == B.sign) != subtract) return combine_ip(parallel, A, B, false);
    if (cmp_magnitude(A, B) >= 0) {
        combine_ip(parallel, A, B, true);
    } else {
        // |B| - |A|: B covers A.
        const u64 room = A.buffer_size - static_cast<u64>(A.T - A.buffer);
        const u64 words = static_cast<u64>(B.mag() - A.exp);
        if (room < words + 1) throw BufferTooSmallException(function, room, words + 1);
        take_up(parallel, function, A);
        take_up(parallel, function, B);
        const u64 added = carried::sub(B.residue, B.residue_between(parallel, B.exp, A.exp));
        const u64 residue = subtract ? carried::sub(A.residue, added) : carried::add(A.residue, added);
        const PlacedWords a{A.T, A.L, A.exp}, b{B.T, B.L, B.exp};
        if (bp_sub(A.T, b, a, 0, A.exp, B.mag(), parallel) != 0) {
            throw UnsupportedNegativeException(function, "A negative value was encountered.");
        }
        A.L = bp_nonzero_length(A.T, words, parallel);
        A.sign = !A.sign;
        A.residue = residue;
        hand_over(function, A);
    }
    if (A.L == 0) {
        const u64 residue = A.residue;
        A.clear();
        A.residue = residue;
    }
}

void cut_below(const ParallelContext& parallel, BigFloat& A, i64 floor) {
    take_up(parallel, "cut_below()", A);
    if (floor >= A.mag()) {
        if (!is_zero(A, "cut_below()")) A.verify(parallel, "a number below the words that are kept");
        return A.clear();
    }
    const BigFloat view = A.kept(parallel, static_cast<u64>(A.mag() - floor));
    std::memmove(A.buffer, view.T, view.L * sizeof(Word));
    A.T = A.buffer;
    A.L = view.L;
    A.exp = view.exp;
    A.residue = view.residue;
}

void extend_down(BigFloat& A, i64 floor, const char* function) {
    const u64 n = static_cast<u64>(A.exp - floor);
    const u64 words = A.L + n;
    if (A.buffer_size < words) throw BufferTooSmallException(function, A.buffer_size, words);
    std::memmove(A.buffer + n, A.T, A.L * sizeof(Word));
    std::fill_n(A.buffer, n, 0);
    A.T = A.buffer;
    A.L = words;
    A.exp = floor;
}

}  // namespace trel
