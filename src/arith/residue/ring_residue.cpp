#include "arith/residue/ring_residue.h"

#include <algorithm>

#include "arith/residue/goldilocks.h"

namespace trel {

namespace avx2 {
extern const RingSumKernels ring_sum_kernels;
}
namespace avx512 {
extern const RingSumKernels ring_sum_kernels;
}

const RingSumKernels& ring_sum_kernels(Isa isa) {
    return TREL_TABLE(isa, ring_sum_kernels);
}

namespace {

constexpr u64 kVectorWords = 144;             // from here on the vector loop pays
constexpr u64 kChunkWords = u64(1) << 24;     // what one call of the kernels takes
constexpr u64 kParallelWords = u64(1) << 17;  // from here on tasks pay
constexpr u64 kMaxTasks = 64;

}  // namespace

u32 RingResidue::place(u64 at) const {
    return static_cast<u32>(p == 3 ? at % 3 : at & (p - 1));
}

void RingResidue::add_at(u32 i, u128 value) {
    while (value != 0) {
        value += w[i];
        w[i] = static_cast<Word>(value);
        value >>= 64;
        i = i + 1 == p ? 0 : i + 1;
    }
}

void RingResidue::add(u128 value, u64 at) {
    add_at(place(at), value);
}

// x, y and z are the sums of the words 0, 3, 6, ..., 1, 4, ... and 2, 5, ..., the first of which belongs to
// word `at`. Without branches on the data: most numbers are short.
void RingResidue::add_three(u128 x, u128 y, u128 z, u64 at) {
    switch (at % 3) {
        case 1:
            return add_three(z, x, y, 0);
        case 2:
            return add_three(y, z, x, 0);
        default:
            break;
    }
    u128 t = u128(w[0]) + static_cast<Word>(x);
    Word w0 = static_cast<Word>(t);
    t = (t >> 64) + w[1] + static_cast<Word>(x >> 64) + static_cast<Word>(y);
    Word w1 = static_cast<Word>(t);
    t = (t >> 64) + w[2] + static_cast<Word>(y >> 64) + static_cast<Word>(z);
    Word w2 = static_cast<Word>(t);
    t = (t >> 64) + static_cast<Word>(z >> 64) + w0;
    w0 = static_cast<Word>(t);
    t = (t >> 64) + w1;
    w1 = static_cast<Word>(t);
    t = (t >> 64) + w2;
    w2 = static_cast<Word>(t);
    w[0] = w0;
    w[1] = w1;
    w[2] = w2;
    if (const Word out = static_cast<Word>(t >> 64); out != 0) add_at(0, out);
}

void RingResidue::add(const RingResidue& other) {
    if (p == 3) return add_three(other.w[0], other.w[1], other.w[2], 0);
    for (u32 i = 0; i < p; i++) add_at(i, other.w[i]);
}

void RingResidue::subtract(const RingResidue& other) {
    if (p == 3) return add_three(~other.w[0], ~other.w[1], ~other.w[2], 0);
    for (u32 i = 0; i < p; i++) add_at(i, ~other.w[i]);  // the complement is the negation
}

void RingResidue::add(const Word* A, u64 n, u64 at) {
    if (n >= kVectorWords) {
        static const RingSumKernels& kernels = ring_sum_kernels(active_isa());
        const u32 lanes = p == 3 ? 24 : 16;
        while (n >= RingSumKernels::kBlock) {
            const u64 blocks = std::min(n, kChunkWords) / RingSumKernels::kBlock;
            alignas(64) u64 words[24], high[24];
            (p == 3 ? kernels.sum24 : kernels.sum16)(A, blocks, words, high);
            u128 sums[kMaxWords] = {};
            for (u32 i = 0; i < lanes; i += p) {
                for (u32 j = 0; j < p; j++) {
                    const u64 low = words[i + j] - (high[i + j] << 32);
                    sums[j] += low + (u128(high[i + j]) << 32);
                }
            }
            if (p == 3) {
                add_three(sums[0], sums[1], sums[2], at);
            } else {
                for (u32 i = 0; i < p; i++) add(sums[i], at + i);
            }
            const u64 done = blocks * RingSumKernels::kBlock;
            A += done;
            n -= done;
            at += done;
        }
    }
    if (p == 3) {
        u128 x = 0, y = 0, z = 0;
        u64 i = 0;
        for (; i + 3 <= n; i += 3) {
            x += A[i];
            y += A[i + 1];
            z += A[i + 2];
        }
        if (i < n) x += A[i];
        if (i + 1 < n) y += A[i + 1];
        return add_three(x, y, z, at);
    }
    for (u64 i = 0; i < n; i++) add(A[i], at + i);
}

void RingResidue::add(const ParallelContext& parallel, const Word* A, u64 n, u64 at) {
    const u64 n_tasks = std::min({parallel.tds, kMaxTasks, n / (kParallelWords / 2)});
    if (n_tasks < 2) return add(A, n, at);
    RingResidue parts[kMaxTasks];
    parallel_for(parallel, n_tasks, [&](u64 task) {
        const u64 begin = n * task / n_tasks, end = n * (task + 1) / n_tasks;
        parts[task] = RingResidue(p);
        parts[task].add(A + begin, end - begin, at + begin);
    });
    for (u64 task = 0; task < n_tasks; task++) add(parts[task]);
}

RingResidue RingResidue::times(const RingResidue& other) const {
    RingResidue r(p);
    if (p == 3) {
        // 2^192 is 1, so the products of words i and j belong to word i + j modulo 3
        const auto product = [&](u32 i, u32 j) { return u128(w[i]) * other.w[j]; };
        const u128 x[3] = {product(0, 0), product(0, 1), product(0, 2)};
        const u128 y[3] = {product(1, 2), product(1, 0), product(1, 1)};
        const u128 z[3] = {product(2, 1), product(2, 2), product(2, 0)};
        u128 low[3], high[3];
        for (u32 k = 0; k < 3; k++) {
            low[k] = u128(static_cast<Word>(x[k])) + static_cast<Word>(y[k]) + static_cast<Word>(z[k]);
            high[k] = (x[k] >> 64) + (y[k] >> 64) + (z[k] >> 64);
        }
        r.add_three(low[0] + high[2], low[1] + high[0], low[2] + high[1], 0);
        return r;
    }
    u64 sums[3 * kMaxWords] = {};
    for (u32 i = 0; i < p; i++) {
        Word carry = 0;
        for (u32 j = 0; j < p; j++) {
            const u128 t = u128(w[i]) * other.w[j] + sums[i + j] + carry;
            sums[i + j] = static_cast<Word>(t);
            carry = static_cast<Word>(t >> 64);
        }
        sums[i + p] = carry;
    }
    for (u32 i = 0; i < p; i++) r.w[i] = sums[i];
    for (u32 i = 0; i < p; i++) r.add(sums[p + i], i);
    return r;
}

RingResidue RingResidue::rotated(u64 bits) const {
    RingResidue r(p);
    const u32 up = static_cast<u32>(bits % 64);
    u32 to = place(bits / 64);
    Word below = w[p - 1];
    for (u32 i = 0; i < p; i++) {
        r.w[to] = up == 0 ? w[i] : w[i] << up | below >> (64 - up);
        below = w[i];
        to = to + 1 == p ? 0 : to + 1;
    }
    return r;
}

u64 RingResidue::goldilocks() const {
    namespace g = trel::goldilocks;
    return g::add(g::add(g::of_word(w[0]), g::times_words(g::of_word(w[1]), 1)),
                  g::times_words(g::of_word(w[2]), 2));
}

bool RingResidue::equals(const RingResidue& other) const {
    if (std::equal(w, w + p, other.w)) return true;
    RingResidue difference = *this;
    difference.subtract(other);
    const auto all = [&](Word value) {
        return std::all_of(difference.w, difference.w + p, [&](Word x) { return x == value; });
    };
    return all(0) || all(~Word(0));
}

u64 RingResidue::digest() const {
    u64 sum = 0;
    for (u32 i = 0; i < p; i++) sum += w[i] * (2 * u64(i) + 1);
    return sum;
}

}  // namespace trel
