// One source for both word sizes and both levels; see the header. The loops over 32-bit words are plain and
// short so that the compiler turns them into vectors; 64-bit words stay in scalar registers (a vector product
// of their high halves costs more than it saves).
#include "arith/intntt/integer_ntt_kernels.h"

#include "base/simd/kernel.h"

namespace trel::TREL_ISA {
namespace {

constexpr u64 kBlock = kIntegerNttBlock;

template <class W>
TREL_INLINE W high_product(W x, W y) {
    using Wide = typename IntegerNttTypes<W>::Wide;
    return static_cast<W>((Wide(x) * y) >> (8 * sizeof(W)));
}

// A known factor below p, times R, and its product with p^-1 modulo R.
template <class W>
struct Factor {
    W w, w_inverse;
};
template <class W>
TREL_INLINE Factor<W> factor(const IntegerNttPrime<W>& prime, W w) {
    return {w, static_cast<W>(w * prime.inverse)};
}

// x w / R for any word x, in (0, 2 p): the low halves of x w and of m p are equal.
template <class W>
TREL_INLINE W multiply(W x, Factor<W> f, W p) {
    const W m = x * f.w_inverse;
    return static_cast<W>(high_product(x, f.w) - high_product(m, p) + p);
}

// [0, 2 p) -> [0, p)
template <class W>
TREL_INLINE W cut(W x, W p) {
    const W y = x - p;
    return x < y ? x : y;
}

template <class W>
TREL_INLINE void forward_butterfly(W& x, W& y, Factor<W> f, W p) {
    const W u = cut(x, p), v = cut(multiply(y, f, p), p);
    x = u + v;
    y = u - v + p;
}

template <class W>
TREL_INLINE void inverse_butterfly(W& x, W& y, Factor<W> f, W p) {
    const W u = cut(x, p), v = cut(y, p);
    x = u + v;
    y = multiply(static_cast<W>(u - v + p), f, p);
}

// W(k), times R
template <class W>
W node_factor(const IntegerNttPrime<W>& prime, const W (*table)[256], u64 k) {
    W w = table[0][k & 255];
    for (u32 i = 1; k >>= 8; i++) {
        w = cut(multiply(w, factor(prime, table[i][k & 255]), prime.p), prime.p);
    }
    return w;
}

template <class W>
void forward2(const IntegerNttPrime<W>& prime, W* x, u64 half, u64 node) {
    const Factor<W> f = factor(prime, node_factor(prime, prime.node, node));
    const W p = prime.p;
    for (u64 i = 0; i < half; i++) {
        W u = x[i], v = x[half + i];
        forward_butterfly(u, v, f, p);
        x[i] = u;
        x[half + i] = v;
    }
}

template <class W>
void inverse2(const IntegerNttPrime<W>& prime, W* x, u64 half, u64 node) {
    const Factor<W> f = factor(prime, node_factor(prime, prime.node_inverse, node));
    const W p = prime.p;
    for (u64 i = 0; i < half; i++) {
        W u = x[i], v = x[half + i];
        inverse_butterfly(u, v, f, p);
        x[i] = u;
        x[half + i] = v;
    }
}

// Two levels of a node of 4 * quarter points.
template <class W>
void forward4(const IntegerNttPrime<W>& prime, W* x, u64 quarter, u64 node, u64 from, u64 to) {
    const Factor<W> f1 = factor(prime, node_factor(prime, prime.node, node));
    const Factor<W> f2 = factor(prime, node_factor(prime, prime.node, 2 * node));
    const Factor<W> f3 = factor(prime, node_factor(prime, prime.node, 2 * node + 1));
    const W p = prime.p;
    W *x0 = x, *x1 = x + quarter, *x2 = x1 + quarter, *x3 = x2 + quarter;
    for (u64 i = from; i < to; i++) {
        W y0 = x0[i], y1 = x1[i], y2 = x2[i], y3 = x3[i];
        forward_butterfly(y0, y2, f1, p);
        forward_butterfly(y1, y3, f1, p);
        forward_butterfly(y0, y1, f2, p);
        forward_butterfly(y2, y3, f3, p);
        x0[i] = y0;
        x1[i] = y1;
        x2[i] = y2;
        x3[i] = y3;
    }
}

template <class W>
void inverse4(const IntegerNttPrime<W>& prime, W* x, u64 quarter, u64 node, u64 from, u64 to) {
    const Factor<W> f1 = factor(prime, node_factor(prime, prime.node_inverse, node));
    const Factor<W> f2 = factor(prime, node_factor(prime, prime.node_inverse, 2 * node));
    const Factor<W> f3 = factor(prime, node_factor(prime, prime.node_inverse, 2 * node + 1));
    const W p = prime.p;
    W *x0 = x, *x1 = x + quarter, *x2 = x1 + quarter, *x3 = x2 + quarter;
    for (u64 i = from; i < to; i++) {
        W y0 = x0[i], y1 = x1[i], y2 = x2[i], y3 = x3[i];
        inverse_butterfly(y0, y1, f2, p);
        inverse_butterfly(y2, y3, f3, p);
        inverse_butterfly(y0, y2, f1, p);
        inverse_butterfly(y1, y3, f1, p);
        x0[i] = y0;
        x1[i] = y1;
        x2[i] = y2;
        x3[i] = y3;
    }
}

template <class W>
TREL_INLINE void transpose(W* to, const W* from) {
    for (u32 i = 0; i < 16; i++) {
        for (u32 k = 0; k < 16; k++) to[16 * i + k] = from[16 * k + i];
    }
}

// The factors of a lane vector: W(2^level (16 node + lane) + e).
template <class W>
struct LaneFactors {
    W w[16], w_inverse[16];

    TREL_INLINE LaneFactors(const IntegerNttPrime<W>& prime, const W* lanes, Factor<W> base) {
        for (u32 k = 0; k < 16; k++) {
            w[k] = cut(multiply(lanes[k], base, prime.p), prime.p);
            w_inverse[k] = w[k] * prime.inverse;
        }
    }
};

// One of the last four levels in transposed form: lane k is the node's part k, row i its point i.
template <class W, u32 Level>
TREL_INLINE void forward_lanes(const IntegerNttPrime<W>& prime, W* t, u64 node) {
    const Factor<W> base = factor(prime, node_factor(prime, prime.node, (16 * node) << Level));
    constexpr u32 kHalf = 8u >> Level;
    for (u32 e = 0; e < 1u << Level; e++) {
        const LaneFactors<W> f(prime, prime.tail[(1u << Level) - 1 + e], base);
        for (u32 i = 0; i < kHalf; i++) {
            W *x = t + 16 * (2 * kHalf * e + i), *y = x + 16 * kHalf;
            for (u32 k = 0; k < 16; k++) {
                W u = x[k], v = y[k];
                forward_butterfly(u, v, Factor<W>{f.w[k], f.w_inverse[k]}, prime.p);
                x[k] = u;
                y[k] = v;
            }
        }
    }
}

template <class W, u32 Level>
TREL_INLINE void inverse_lanes(const IntegerNttPrime<W>& prime, W* t, u64 node) {
    const Factor<W> base = factor(prime, node_factor(prime, prime.node_inverse, (16 * node) << Level));
    constexpr u32 kHalf = 8u >> Level;
    for (u32 e = 0; e < 1u << Level; e++) {
        const LaneFactors<W> f(prime, prime.tail_inverse[(1u << Level) - 1 + e], base);
        for (u32 i = 0; i < kHalf; i++) {
            W *x = t + 16 * (2 * kHalf * e + i), *y = x + 16 * kHalf;
            for (u32 k = 0; k < 16; k++) {
                W u = x[k], v = y[k];
                inverse_butterfly(u, v, Factor<W>{f.w[k], f.w_inverse[k]}, prime.p);
                x[k] = u;
                y[k] = v;
            }
        }
    }
}

// A node of 256 points: two radix-4 passes, then the last four levels across the lanes.
template <class W>
void forward_tail(const IntegerNttPrime<W>& prime, W* x, u64 node) {
    forward4(prime, x, 64, node, 0, 64);
    for (u64 q = 0; q < 4; q++) forward4(prime, x + 64 * q, 16, 4 * node + q, 0, 16);
    alignas(64) W t[256];
    transpose(t, x);
    forward_lanes<W, 0>(prime, t, node);
    forward_lanes<W, 1>(prime, t, node);
    forward_lanes<W, 2>(prime, t, node);
    forward_lanes<W, 3>(prime, t, node);
    __builtin_memcpy(x, t, sizeof t);
}

template <class W>
void inverse_tail(const IntegerNttPrime<W>& prime, W* x, u64 node) {
    alignas(64) W t[256];
    __builtin_memcpy(t, x, sizeof t);
    inverse_lanes<W, 3>(prime, t, node);
    inverse_lanes<W, 2>(prime, t, node);
    inverse_lanes<W, 1>(prime, t, node);
    inverse_lanes<W, 0>(prime, t, node);
    transpose(x, t);
    for (u64 q = 0; q < 4; q++) inverse4(prime, x + 64 * q, 16, 4 * node + q, 0, 16);
    inverse4(prime, x, 64, node, 0, 64);
}

// One factor is cut: a product of two residues below 2 p could reach 3 p.
template <class W>
void multiply_all(const IntegerNttPrime<W>& prime, W* r, const W* x, const W* y, u64 count) {
    using Wide = typename IntegerNttTypes<W>::Wide;
    const W p = prime.p;
    for (u64 i = 0; i < count; i++) {
        const Wide product = Wide(cut(x[i], p)) * y[i];
        const W m = static_cast<W>(product) * prime.inverse;
        r[i] = static_cast<W>(product >> (8 * sizeof(W))) - high_product(m, p) + p;
    }
}

// Level by level over a block that stays in the cache.
template <class W>
void forward_block(const IntegerNttPrime<W>& prime, W* x, u32 log_m, u64 node) {
    const u64 end = u64(1) << log_m;
    u32 left = log_m;  // log2 of a node's points
    u64 nodes = 1;
    if ((left - kIntegerNttTail) % 2 == 1) {
        forward2(prime, x, end / 2, node);
        left--;
        nodes = 2;
    }
    for (; left > kIntegerNttTail; left -= 2, nodes *= 4) {
        for (u64 k = 0; k < nodes; k++) {
            forward4(prime, x + (k << left), u64(1) << (left - 2), node * nodes + k, 0, u64(1) << (left - 2));
        }
    }
    for (u64 k = 0; k < nodes; k++) forward_tail(prime, x + (k << left), node * nodes + k);
}

// Begins with the products r = x y.
template <class W>
void inverse_block(const IntegerNttPrime<W>& prime, W* r, const W* x, const W* y, u32 log_m, u64 node) {
    multiply_all(prime, r, x, y, u64(1) << log_m);
    u64 nodes = u64(1) << (log_m - kIntegerNttTail);
    u32 left = kIntegerNttTail;
    for (u64 k = 0; k < nodes; k++) inverse_tail(prime, r + (k << left), node * nodes + k);
    while (left + 2 <= log_m) {
        left += 2;
        nodes /= 4;
        for (u64 k = 0; k < nodes; k++) {
            inverse4(prime, r + (k << left), u64(1) << (left - 2), node * nodes + k, 0, u64(1) << (left - 2));
        }
    }
    if (left < log_m) inverse2(prime, r, u64(1) << left, node);
}

template <class W>
void forward(const IntegerNttPrime<W>& prime, W* x, u32 log_m, u64 node, u32 log_block) {
    if (log_m <= log_block || log_m < kIntegerNttTail + 2) {
        forward_block(prime, x, log_m, node);
        return;
    }
    const u64 quarter = u64(1) << (log_m - 2);
    forward4(prime, x, quarter, node, 0, quarter);
    for (u64 q = 0; q < 4; q++) forward(prime, x + q * quarter, log_m - 2, 4 * node + q, log_block);
}

template <class W>
void inverse(const IntegerNttPrime<W>& prime, W* r, const W* x, const W* y, u32 log_m, u64 node,
             u32 log_block) {
    if (log_m <= log_block || log_m < kIntegerNttTail + 2) {
        inverse_block(prime, r, x, y, log_m, node);
        return;
    }
    const u64 quarter = u64(1) << (log_m - 2);
    for (u64 q = 0; q < 4; q++) {
        const u64 at = q * quarter;
        inverse(prime, r + at, x + at, y + at, log_m - 2, 4 * node + q, log_block);
    }
    inverse4(prime, r, quarter, node, 0, quarter);
}

template <class W>
void forward_top(const IntegerNttPrime<W>& prime, W* x, u32 log_m, u64 from, u64 to) {
    forward4(prime, x, u64(1) << (log_m - 2), 0, from, to);
}
template <class W>
void inverse_top(const IntegerNttPrime<W>& prime, W* x, u32 log_m, u64 from, u64 to) {
    inverse4(prime, x, u64(1) << (log_m - 2), 0, from, to);
}

// The sum of units times constants has at most 4 bits above a unit and a word; times R^-1 it stays below 2 p.
template <class W>
void reduce(const IntegerNttPrime<W>& prime, u32 a, const W* units, W* out) {
    using Wide = typename IntegerNttTypes<W>::Wide;
    const W p = prime.p;
    Wide sum[kBlock];
    for (u64 k = 0; k < kBlock; k++) sum[k] = Wide(units[k]) * prime.units[0];
    for (u32 i = 1; i < a - 1; i++) {
        for (u64 k = 0; k < kBlock; k++) sum[k] += Wide(units[kBlock * i + k]) * prime.units[i];
    }
    for (u64 k = 0; k < kBlock; k++) {
        const W m = static_cast<W>(sum[k]) * prime.inverse;
        out[k] = static_cast<W>(sum[k] >> (8 * sizeof(W))) - high_product(m, p) + p;
    }
}

// y_0 = x_0 + sum u_i, y_j = x_0 + sum u_i cos_ij + sum v_i sin_ij and y_(b-j) with the sines subtracted,
// where u_i = x_i + x_(b-i), v_i = x_i - x_(b-i). The inverse transform exchanges the two.
template <class W, u32 B>
void small_transform(const IntegerNttPrime<W>& prime, W* rows, bool inverse) {
    constexpr u32 kHalf = B / 2;
    const W p = prime.p;
    for (u64 k = 0; k < kBlock; k++) {
        const W x0 = cut(rows[k], p);
        W u[kHalf], v[kHalf];
        W first = x0;
        for (u32 i = 0; i < kHalf; i++) {
            const W x = cut(rows[kBlock * (i + 1) + k], p), y = cut(rows[kBlock * (B - 1 - i) + k], p);
            u[i] = x + y;
            v[i] = x - y + p;
            first = cut(static_cast<W>(first + cut(u[i], p)), p);
        }
        rows[k] = first;
        for (u32 j = 0; j < kHalf; j++) {
            W even = x0, odd = 0;
            for (u32 i = 0; i < kHalf; i++) {
                even = cut(
                    static_cast<W>(even + cut(multiply(u[i], factor(prime, prime.cosine[i][j]), p), p)), p);
                odd =
                    cut(static_cast<W>(odd + cut(multiply(v[i], factor(prime, prime.sine[i][j]), p), p)), p);
            }
            const W sum = even + odd, difference = even - odd + p;
            rows[kBlock * (j + 1) + k] = inverse ? difference : sum;
            rows[kBlock * (B - 1 - j) + k] = inverse ? sum : difference;
        }
    }
}

template <class W>
void rows_b(const IntegerNttPrime<W>& prime, u32 b, W* rows, bool inverse) {
    if (b == 3) small_transform<W, 3>(prime, rows, inverse);
    if (b == 5) small_transform<W, 5>(prime, rows, inverse);
    if (b == 7) small_transform<W, 7>(prime, rows, inverse);
}
template <class W>
void transform_b(const IntegerNttPrime<W>& prime, u32 b, W* rows) {
    rows_b(prime, b, rows, false);
}
template <class W>
void inverse_b(const IntegerNttPrime<W>& prime, u32 b, W* rows) {
    rows_b(prime, b, rows, true);
}

// The multiple k of P is the whole part of sum r_i / p_i; what its fixed-point form loses is less than one
// part in 2^20, and a right coefficient stays farther below P than that. A wrong one may come out negative,
// that is with all bits set at the top, which no check lets pass.
template <class W>
void combine(const IntegerNttSet<W>& set, u32 c, const W* residues, W* limbs) {
    using Types = IntegerNttTypes<W>;
    using Wide = typename Types::Wide;
    constexpr W kMask = (W(1) << Types::kLimbBits) - 1;
    W scaled[Types::kMaxPrimes][kBlock];
    Wide sum[kBlock];
    W multiple[kBlock];
    for (u64 k = 0; k < kBlock; k++) sum[k] = Wide(set.a) << (Types::kFractionBits - 8 * sizeof(W) + 5);
    for (u32 i = 0; i < set.a; i++) {
        const IntegerNttPrime<W>& prime = set.prime[i];
        const Factor<W> f = factor(prime, prime.scale[c]);
        for (u64 k = 0; k < kBlock; k++) {
            scaled[i][k] = cut(multiply(residues[kBlock * i + k], f, prime.p), prime.p);
            sum[k] += Wide(scaled[i][k]) * set.fraction[i];
        }
    }
    for (u64 k = 0; k < kBlock; k++) multiple[k] = static_cast<W>(sum[k] >> Types::kFractionBits);
    Wide carry[kBlock] = {};
    for (u32 l = 0; l < set.limbs; l++) {
        for (u64 k = 0; k < kBlock; k++) sum[k] = carry[k] + Wide(multiple[k]) * set.complement[l];
        for (u32 i = 0; i < set.a; i++) {
            const W factor = set.cofactor[i][l];
            for (u64 k = 0; k < kBlock; k++) sum[k] += Wide(scaled[i][k]) * factor;
        }
        for (u64 k = 0; k < kBlock; k++) {
            limbs[kBlock * l + k] = static_cast<W>(sum[k]) & kMask;
            carry[k] = sum[k] >> Types::kLimbBits;
        }
    }
}

template <class W>
constexpr IntegerNttKernels<W> kKernels{reduce<W>,      transform_b<W>, inverse_b<W>, forward_top<W>,
                                        inverse_top<W>, forward<W>,     inverse<W>,   combine<W>};

}  // namespace

constinit const IntegerNttKernels<u32> integer_ntt32 = kKernels<u32>;
constinit const IntegerNttKernels<u64> integer_ntt64 = kKernels<u64>;

}  // namespace trel::TREL_ISA
