#include "arith/hnt/fermat_ring.h"

#include <algorithm>

#include "arith/kernels/word_array.h"

namespace trel::fermat {
namespace {

// r[0..n) stands for itself plus d, 0 <= d <= 2: 2^(64 n) is -1.
void add_small(Word* r, Word d, u64 n) {
    r[n] = 0;
    if (d == 0 || add_word_ip(r, n, d) == 0) return;
    if (std::all_of(r, r + n, [](Word w) { return w == 0; })) {
        r[n] = 1;
    } else {
        sub_word_ip(r, n, 1);
    }
}

// The same less d.
void sub_small(Word* r, Word d, u64 n) {
    r[n] = 0;
    if (d != 0 && sub_word_ip(r, n, d) != 0) r[n] = add_word_ip(r, n, 1);
}

}  // namespace

void add(Word* r, const Word* x, const Word* y, u64 n) {
    const Word top = x[n] + y[n];
    sub_small(r, top + add_n(r, x, y, n), n);
}

void sub(Word* r, const Word* x, const Word* y, u64 n) {
    const Word plus = y[n], minus = x[n];
    const Word up = plus + sub_n(r, x, y, n);
    if (up >= minus) {
        add_small(r, up - minus, n);
    } else {
        sub_small(r, 1, n);
    }
}

// F - x = complement of x + 2; zero stays zero.
void negate(Word* x, u64 n) {
    if (x[n] != 0) {
        x[n] = 0;
        x[0] = 1;
        return;
    }
    if (std::all_of(x, x + n, [](Word w) { return w == 0; })) return;
    for (u64 i = 0; i < n; i++) x[i] = ~x[i];
    add_small(x, 2, n);
}

// The words that the shift pushes out at the top come back at the bottom with the other sign.
void shift(Word* r, const Word* x, u64 e, u64 n) {
    const u64 words = e / 64, bits = e % 64;
    if (x[n] != 0) {
        std::fill_n(r, n + 1, Word(0));
        r[words] = Word(1) << bits;
        negate(r, n);
        return;
    }
    const auto high_bits = [&](Word w) { return bits == 0 ? 0 : w >> (64 - bits); };
    Word before = 0;
    for (u64 i = 0; i < n - words; i++) {
        r[words + i] = x[i] << bits | high_bits(before);
        before = x[i];
    }
    u8 borrow = 0;  // of 0 - (the words pushed out)
    for (u64 i = 0; i < words; i++) {
        const Word out = x[n - words + i] << bits | high_bits(before);
        before = x[n - words + i];
        r[i] = 0 - out - borrow;
        borrow = (out | borrow) != 0;
    }
    const Word rest = high_bits(before);
    // rest + borrow does not overflow: rest has less than 64 bits
    add_small(r, sub_word_ip(r + words, n - words, rest + borrow), n);
}

void reduce(Word* r, const Word* number, u64 n) {
    add_small(r, sub_n(r, number, number + n, n), n);
}

}  // namespace trel::fermat
