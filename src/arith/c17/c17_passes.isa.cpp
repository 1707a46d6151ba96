// The passes of the Code 17 transform on vectors of eight residues.
#include "arith/c17/c17_passes.h"
#include "arith/c17/c17_radix_b.h"

namespace trel::TREL_ISA {
namespace {

#if TREL_ISA_avx512
constexpr u32 kMaxLogRadix = 4;
#else
// Sixteen registers hold eight of these vectors.
constexpr u32 kMaxLogRadix = 2;
#endif

using Direction = C17PrimeTables::Direction;

// ---- bases and twiddles

// Base u of a node: v of the leftmost node u levels below it. Two directions, rounded up for vector access.
struct alignas(64) Bases {
    double forward[C17PrimeTables::kDepths + 24];
    double inverse[C17PrimeTables::kDepths + 24];
};

// What lies behind the last level takes part in vector operations, so it has to be a harmless number.
TREL_INLINE void clear_bases(Bases& g) {
    for (u32 u = 0; u < C17PrimeTables::kDepths + 24; u += 8) {
        store(g.forward + u, broadcast(1.0));
        store(g.inverse + u, broadcast(1.0));
    }
}

// Bases of root s: powers of zeta, exponents halved modulo b from level to level.
TREL_INLINE void root_bases(const C17Plan& plan, const C17Prime& prime, u32 s, u32 levels, Bases& g) {
    u32 e = s;
    for (u32 u = 0; u < levels; u++) {
        e = e % 2 == 0 ? e / 2 : (e + plan.b) / 2;
        g.forward[u] = prime.zeta[e];
        g.inverse[u] = prime.zeta[e == 0 ? 0 : plan.b - e];
    }
}

// Bases of descendant i, log_radix <= 4 levels below, of a node with `levels` levels.
TREL_INLINE void child_bases(const C17PrimeTables& t, const Bases& g, u32 levels, u32 log_radix, u64 i,
                             Bases& child, const Modulus& m) {
    for (u32 u = 0; u < levels - log_radix; u += 8) {
        store(child.forward + u, mul_mod(load(g.forward + log_radix + u), load(t.forward.child[i] + u), m));
        store(child.inverse + u, mul_mod(load(g.inverse + log_radix + u), load(t.inverse.child[i] + u), m));
    }
}

// The v of a node and its next levels in heap order: tw[2^l + i] is that of descendant i, l levels below.
struct alignas(64) PassTwiddles {
    double tw[16];
};
TREL_INLINE void pass_twiddles(const Direction& t, const double* base, u32 log_radix, PassTwiddles& out,
                               const Modulus& m) {
    const F64x8 heads = permute<0, 0, 1, 1, 2, 2, 2, 2>(load(base));
    store(out.tw, mul_mod(heads, load(t.heap), m));
    if (log_radix == 4) store(out.tw + 8, mul_mod(broadcast(base[3]), load(t.low), m));
}

// ---- passes of radix 2 to 16

enum class Kind { plain, reducing, root };

// One column of the forward pass. The root kind knows that the leftmost v of each level is 1.
template <int LR, Kind KIND>
TREL_INLINE void forward_column(F64x8 (&v)[1 << LR], const double* tw, const Modulus& m) {
    constexpr int R = 1 << LR;
    if (KIND == Kind::reducing) {
        TREL_UNROLL for (int i = 0; i < R / 2; i++) v[i] = reduce(v[i], m);
    }
    TREL_UNROLL for (int l = 0; l < LR; l++) {
        TREL_UNROLL for (int i = 0; i < (1 << l); i++) {
            const int h = R >> (l + 1);
            const F64x8 w = broadcast(tw[(1 << l) + i]);
            TREL_UNROLL for (int q = 0; q < h; q++) {
                F64x8& x = v[2 * h * i + q];
                F64x8& y = v[2 * h * i + q + h];
                const F64x8 t = KIND == Kind::root && i == 0 ? y : mul_mod(y, w, m);
                y = x - t;
                x = x + t;
            }
        }
    }
    if (KIND == Kind::root) {
        TREL_UNROLL for (int i = 0; i < (R + 3) / 4; i++) v[i] = reduce(v[i], m);
    }
}

// One column of the inverse pass. Sums of four and more that no product has brought back are reduced.
template <int LR, bool ROOT>
TREL_INLINE void inverse_column(F64x8 (&v)[1 << LR], const double* tw, const Modulus& m) {
    constexpr int R = 1 << LR;
    TREL_UNROLL for (int l = LR - 1; l >= 0; l--) {
        TREL_UNROLL for (int i = 0; i < (1 << l); i++) {
            const int h = R >> (l + 1);
            const F64x8 w = broadcast(tw[(1 << l) + i]);
            TREL_UNROLL for (int q = 0; q < h; q++) {
                F64x8& x = v[2 * h * i + q];
                F64x8& y = v[2 * h * i + q + h];
                const F64x8 d = x - y;
                x = x + y;
                y = ROOT && i == 0 ? d : mul_mod(d, w, m);
            }
        }
        if (LR == 4 && l == 2) {
            TREL_UNROLL for (int i = 0; i < 4; i++) {
                v[4 * i] = reduce(v[4 * i], m);
                if (ROOT && i != 0) v[i] = reduce(v[i], m);
            }
        }
    }
    TREL_UNROLL for (int i = 0; i < (ROOT ? R : (R + 3) / 4); i++) v[i] = reduce(v[i], m);
}

template <int LR, Kind KIND>
__attribute__((noinline)) void forward_pass(const double* in, u64 in_stride, double* out, u64 out_stride,
                                            u64 columns, const double* tw, const Modulus& modulus) {
    constexpr int R = 1 << LR;
    const Modulus m = modulus;
    for (u64 j = 0; j < columns; j += 8) {
        F64x8 v[R];
        TREL_UNROLL for (int i = 0; i < R; i++) v[i] = load(in + j + i * in_stride);
        forward_column<LR, KIND>(v, tw, m);
        TREL_UNROLL for (int i = 0; i < R; i++) store(out + j + i * out_stride, v[i]);
    }
}
template <int LR, bool ROOT>
__attribute__((noinline)) void inverse_pass(const double* in, u64 in_stride, double* out, u64 out_stride,
                                            u64 columns, const double* tw, const Modulus& modulus) {
    constexpr int R = 1 << LR;
    const Modulus m = modulus;
    for (u64 j = 0; j < columns; j += 8) {
        F64x8 v[R];
        TREL_UNROLL for (int i = 0; i < R; i++) v[i] = load(in + j + i * in_stride);
        inverse_column<LR, ROOT>(v, tw, m);
        TREL_UNROLL for (int i = 0; i < R; i++) store(out + j + i * out_stride, v[i]);
    }
}

template <int LR>
TREL_INLINE void forward_any(Kind kind, const double* in, u64 in_stride, double* out, u64 out_stride,
                             u64 columns, const double* tw, const Modulus& m) {
    if (kind == Kind::plain)
        return forward_pass<LR, Kind::plain>(in, in_stride, out, out_stride, columns, tw, m);
    if (kind == Kind::reducing) {
        return forward_pass<LR, Kind::reducing>(in, in_stride, out, out_stride, columns, tw, m);
    }
    return forward_pass<LR, Kind::root>(in, in_stride, out, out_stride, columns, tw, m);
}
TREL_INLINE void forward_radix(u32 log_radix, Kind kind, const double* in, u64 in_stride, double* out,
                               u64 out_stride, u64 columns, const double* tw, const Modulus& m) {
    switch (log_radix) {
        case 1:
            return forward_any<1>(kind, in, in_stride, out, out_stride, columns, tw, m);
        case 2:
            return forward_any<2>(kind, in, in_stride, out, out_stride, columns, tw, m);
        case 3:
            return forward_any<3>(kind, in, in_stride, out, out_stride, columns, tw, m);
        default:
            return forward_any<4>(kind, in, in_stride, out, out_stride, columns, tw, m);
    }
}
template <int LR>
TREL_INLINE void inverse_any(bool root, const double* in, u64 in_stride, double* out, u64 out_stride,
                             u64 columns, const double* tw, const Modulus& m) {
    if (root) return inverse_pass<LR, true>(in, in_stride, out, out_stride, columns, tw, m);
    return inverse_pass<LR, false>(in, in_stride, out, out_stride, columns, tw, m);
}
TREL_INLINE void inverse_radix(u32 log_radix, bool root, const double* in, u64 in_stride, double* out,
                               u64 out_stride, u64 columns, const double* tw, const Modulus& m) {
    switch (log_radix) {
        case 1:
            return inverse_any<1>(root, in, in_stride, out, out_stride, columns, tw, m);
        case 2:
            return inverse_any<2>(root, in, in_stride, out, out_stride, columns, tw, m);
        case 3:
            return inverse_any<3>(root, in, in_stride, out, out_stride, columns, tw, m);
        default:
            return inverse_any<4>(root, in, in_stride, out, out_stride, columns, tw, m);
    }
}

// ---- radix b, without twiddles

// Lines of memory that the next call will work on, on their way to the second cache meanwhile.
TREL_INLINE void prefetch_rows(const double* ahead, u64 stride, u32 rows) {
    for (u32 i = 0; i < rows; i++)
        _mm_prefetch(reinterpret_cast<const char*>(ahead + i * stride), _MM_HINT_T1);
}

template <u32 B, bool INVERSE>
TREL_INLINE void radix_b(const C17Prime& prime, const double* in, u64 is, double* out, u64 os, u64 columns,
                         const double* ahead) {
    const Modulus m = modulus(prime);
    struct {
        F64x8 split[B == 3 ? 1 : B == 5 ? 5 : 6];
    } constants;
    u32 n = 0;
    for (F64x8& c : constants.split) c = broadcast(prime.split[n++]);
    for (u64 j = 0; j < columns; j += 8) {
        if (ahead != nullptr) prefetch_rows(ahead + j, INVERSE ? is : os, B);
        F64x8 x[B];
        TREL_UNROLL for (u32 i = 0; i < B; i++) x[i] = load(in + j + i * is);
        const auto put = [&](u32 s, F64x8 r) { store(out + j + (INVERSE ? (B - s) % B : s) * os, r); };
        if constexpr (B == 3) split3(x, constants, m, put);
        if constexpr (B == 5) split5(x, constants, m, put);
        if constexpr (B == 7) split7(x, constants, m, put);
    }
}

void split(u32 b, const C17Prime& prime, const double* in, u64 is, double* out, u64 os, u64 columns,
           const double* ahead) {
    if (b == 3) return radix_b<3, false>(prime, in, is, out, os, columns, ahead);
    if (b == 5) return radix_b<5, false>(prime, in, is, out, os, columns, ahead);
    radix_b<7, false>(prime, in, is, out, os, columns, ahead);
}
void join(u32 b, const C17Prime& prime, const double* in, u64 is, double* out, u64 os, u64 columns,
          const double* ahead) {
    if (b == 3) return radix_b<3, true>(prime, in, is, out, os, columns, ahead);
    if (b == 5) return radix_b<5, true>(prime, in, is, out, os, columns, ahead);
    radix_b<7, true>(prime, in, is, out, os, columns, ahead);
}

// ---- 64 points in registers: three levels across vectors, transpose, one level across vectors
//
// The tree's leaves are polynomials of degree below four, coefficient j of both of a lane's leaves in vectors
// j and j + 4: to multiply them modulo x^4 - u costs less than the two levels that would be left, whose
// twiddles differ from lane to lane.

// The v of eight tails: levels 0 to 2 in order, then the base that the lanes of level 3 are
// made from.
struct alignas(64) TailTwiddles {
    double level0[8], level1[16], level2[32], lane_base[8];
};
// base: the bases of the node whose descendants `depth` levels below are the tails.
TREL_INLINE void lane_bases(const Direction& t, const double* base, u32 depth, u32 first, TailTwiddles& out,
                            const Modulus& m) {
    store(out.lane_base, mul_mod(broadcast(base[depth + 3]), load(t.stride8 + first), m));
}
TREL_INLINE void tail_twiddles(const Direction& t, const double* base, u32 depth, u32 first,
                               TailTwiddles& out, const Modulus& m) {
    store(out.level0, mul_mod(broadcast(base[depth]), load(t.low + first), m));
    TREL_UNROLL for (int i = 0; i < 2; i++) {
        store(out.level1 + 8 * i, mul_mod(broadcast(base[depth + 1]), load(t.low + 2 * first + 8 * i), m));
    }
    TREL_UNROLL for (int i = 0; i < 4; i++) {
        store(out.level2 + 8 * i, mul_mod(broadcast(base[depth + 2]), load(t.low + 4 * first + 8 * i), m));
    }
    lane_bases(t, base, depth, first, out, m);
}
// The v of the eight nodes of tail i, a lane each.
TREL_INLINE F64x8 lane_twiddle(const Direction& t, const TailTwiddles& tw, u32 i, const Modulus& m) {
    return mul_mod(load(t.low), broadcast(tw.lane_base[i]), m);
}
TREL_INLINE F64x8 tail_twiddle(const TailTwiddles& tw, u32 tail, int l, int i) {
    return broadcast(l == 0 ? tw.level0[tail] : l == 1 ? tw.level1[2 * tail + i] : tw.level2[4 * tail + i]);
}

// G independent tails at once: their chains fill the latency of the multiplications. Tail g has the scalars
// of tail[g] and the lanes w[g].
template <int G>
TREL_INLINE void tail_forward(F64x8 (&v)[G][8], const TailTwiddles& tw, const u32 (&tail)[G],
                              const F64x8 (&w)[G], const Modulus& m) {
    TREL_UNROLL for (int l = 0; l < 3; l++) {
        TREL_UNROLL for (int i = 0; i < (1 << l); i++) {
            const int h = 4 >> l;
            TREL_UNROLL for (int q = 0; q < h; q++) {
                TREL_UNROLL for (int g = 0; g < G; g++) {
                    F64x8& x = v[g][2 * h * i + q];
                    F64x8& y = v[g][2 * h * i + q + h];
                    const F64x8 t = mul_mod(y, tail_twiddle(tw, tail[g], l, i), m);
                    y = x - t;
                    x = x + t;
                }
            }
        }
    }
    TREL_UNROLL for (int g = 0; g < G; g++) transpose(v[g]);
    TREL_UNROLL for (int q = 0; q < 4; q++) {
        TREL_UNROLL for (int g = 0; g < G; g++) {
            const F64x8 t = mul_mod(v[g][q + 4], w[g], m);
            v[g][q + 4] = v[g][q] - t;
            v[g][q] = v[g][q] + t;
        }
    }
}
template <int G>
TREL_INLINE void tail_inverse(F64x8 (&v)[G][8], const TailTwiddles& tw, const u32 (&tail)[G],
                              const F64x8 (&w)[G], const Modulus& m) {
    TREL_UNROLL for (int q = 0; q < 4; q++) {
        TREL_UNROLL for (int g = 0; g < G; g++) {
            const F64x8 d = v[g][q] - v[g][q + 4];
            v[g][q] = reduce(v[g][q] + v[g][q + 4], m);
            v[g][q + 4] = mul_mod(d, w[g], m);
        }
    }
    TREL_UNROLL for (int g = 0; g < G; g++) transpose(v[g]);
    TREL_UNROLL for (int l = 2; l >= 0; l--) {
        TREL_UNROLL for (int i = 0; i < (1 << l); i++) {
            const int h = 4 >> l;
            TREL_UNROLL for (int q = 0; q < h; q++) {
                TREL_UNROLL for (int g = 0; g < G; g++) {
                    F64x8& x = v[g][2 * h * i + q];
                    F64x8& y = v[g][2 * h * i + q + h];
                    const F64x8 d = x - y;
                    x = x + y;
                    y = mul_mod(d, tail_twiddle(tw, tail[g], l, i), m);
                }
            }
        }
    }
    TREL_UNROLL for (int g = 0; g < G; g++) {
        v[g][0] = reduce(v[g][0], m);
        v[g][1] = reduce(v[g][1], m);
    }
}

// x = x y modulo X^4 - u. The four products of a coefficient are summed before they are reduced: h is the sum
// rounded to multiples of 2^50, which start makes of every partial sum, low the exact sum of the rests. The
// quotient is rounded to a multiple of 4, because it may be beyond 2^51.
TREL_INLINE void leaf_product(F64x8* x, const F64x8* y, F64x8 u, const Modulus& m) {
    const F64x8 start = broadcast(0x1.8p102), rounder4 = broadcast(4 * kRounder);
    F64x8 a[4], yu[4];
    TREL_UNROLL for (int i = 1; i < 4; i++) yu[i] = mul_mod(y[i], u, m);
    TREL_UNROLL for (int i = 0; i < 4; i++) a[i] = reduce(x[i], m);
    // the four coefficients side by side
    F64x8 h[4], rest[4], q[4];
    TREL_UNROLL for (int i = 0; i < 4; i++) {
        TREL_UNROLL for (int k = 0; k < 4; k++) {
            const F64x8 factor = i <= k ? y[k - i] : yu[4 + k - i];
            const F64x8 last = i == 0 ? start : h[k];
            h[k] = fma(a[i], factor, last);
            const F64x8 low = fma(a[i], factor, last - h[k]);
            rest[k] = i == 0 ? low : rest[k] + low;
        }
    }
    TREL_UNROLL for (int k = 0; k < 4; k++) h[k] = h[k] - start;
    TREL_UNROLL for (int k = 0; k < 4; k++) q[k] = fma(h[k] + rest[k], m.inverse_p, rounder4);
    TREL_UNROLL for (int k = 0; k < 4; k++) q[k] = q[k] - rounder4;
    TREL_UNROLL for (int k = 0; k < 4; k++) x[k] = fnma(q[k], m.p, h[k]) + rest[k];
}
// Both leaves of eight nodes x^8 - v^2.
TREL_INLINE void tail_product(F64x8 (&x)[8], const F64x8 (&y)[8], F64x8 v, const Modulus& m) {
    leaf_product(x, y, v, m);
    leaf_product(x + 4, y + 4, -v, m);
}

TREL_INLINE void load_tail(F64x8 (&v)[8], const double* p) {
    TREL_UNROLL for (int i = 0; i < 8; i++) v[i] = load(p + 8 * i);
}
TREL_INLINE void store_tail(const F64x8 (&v)[8], double* p) {
    TREL_UNROLL for (int i = 0; i < 8; i++) store(p + 8 * i, v[i]);
}

using M = C17Middle;
constexpr bool transforms_x(M what) {
    return what == M::forward || what == M::product || what == M::square || what == M::held_product;
}
constexpr bool inverts(M what) {
    return what != M::forward;
}

// Two tails, number i and i + 1 of the eight that the twiddles are for.
template <M WHAT>
TREL_INLINE void tail_pair(const C17PrimeTables& t, const TailTwiddles& forward, const TailTwiddles& inverse,
                           u32 i, double* out, const double* x, const double* y, const Modulus& m) {
    const u32 pair[2] = {i, i + 1};
    F64x8 v[2][8];
    F64x8 w[2];
    TREL_UNROLL for (u32 g = 0; g < 2; g++) w[g] = lane_twiddle(t.forward, forward, i + g, m);
    if constexpr (WHAT == M::product) {
        TREL_UNROLL for (u32 g = 0; g < 2; g++) {
            F64x8 xy[2][8];
            const u32 same[2] = {i + g, i + g};
            const F64x8 shared[2] = {w[g], w[g]};
            load_tail(xy[0], x + 64 * g);
            load_tail(xy[1], y + 64 * g);
            tail_forward<2>(xy, forward, same, shared, m);
            tail_product(xy[0], xy[1], w[g], m);
            store_tail(xy[0], out + 64 * g);
        }
        load_tail(v[0], out);
        load_tail(v[1], out + 64);
    } else {
        load_tail(v[0], x);
        load_tail(v[1], x + 64);
        if constexpr (transforms_x(WHAT)) tail_forward<2>(v, forward, pair, w, m);
        if constexpr (inverts(WHAT)) {
            TREL_UNROLL for (u32 g = 0; g < 2; g++) {
                F64x8 other[8];
                if constexpr (WHAT == M::held_product || WHAT == M::inverse) {
                    load_tail(other, y + 64 * g);
                } else {
                    TREL_UNROLL for (int k = 0; k < 8; k++) other[k] = v[g][k];
                }
                tail_product(v[g], other, w[g], m);
            }
        }
    }
    if constexpr (inverts(WHAT)) {
        TREL_UNROLL for (u32 g = 0; g < 2; g++) w[g] = lane_twiddle(t.inverse, inverse, i + g, m);
        tail_inverse<2>(v, inverse, pair, w, m);
    }
    store_tail(v[0], out);
    store_tail(v[1], out + 64);
}

// ---- the middle of a row

// Two tails that will be worked on later, on their way to the second cache.
TREL_INLINE void prefetch_pair(const double* p) {
    TREL_UNROLL for (u32 i = 0; i < 16; i++) {
        _mm_prefetch(reinterpret_cast<const char*>(p + 8 * i), _MM_HINT_T1);
    }
}
constexpr bool reads_y(M what) {
    return what == M::product || what == M::held_product || what == M::inverse;
}

struct Call {
    const C17Plan* plan;
    const C17PrimeTables* tables;
    Modulus m;
};

template <M WHAT>
__attribute__((noinline)) void tails(const Call& call, const Bases& g, u32 depth, double* out,
                                     const double* x, const double* y) {
    const Modulus m = call.m;
    const C17PrimeTables& t = *call.tables;
    const u32 n_tails = 1u << depth;
    const u64 ahead = call.plan->ahead;
    TailTwiddles forward, inverse;
    for (u32 first = 0; first < n_tails; first += 8) {
        if constexpr (transforms_x(WHAT)) {
            tail_twiddles(t.forward, g.forward, depth, first, forward, m);
        } else {
            lane_bases(t.forward, g.forward, depth, first, forward, m);
        }
        if constexpr (inverts(WHAT)) tail_twiddles(t.inverse, g.inverse, depth, first, inverse, m);
        const u32 n = n_tails - first < 8 ? n_tails - first : 8;
        for (u32 i = 0; i < n; i += 2) {
            const u64 at = 64 * u64(first + i);
            if (ahead != 0) {
                prefetch_pair(x + at + ahead);
                if constexpr (reads_y(WHAT)) prefetch_pair(y + at + ahead);
            }
            tail_pair<WHAT>(t, forward, inverse, i, out + at, x + at, y + at, m);
        }
    }
}

// A node of 2^levels points whose pass is number `pass` of the plan.
struct Node {
    u32 pass, levels;
    Kind kind;
    const Bases* g;

    u32 log_radix(const C17Plan& plan) const { return plan.passes[pass].log_radix; }
    u64 columns(const C17Plan& plan) const { return u64(1) << (levels - log_radix(plan)); }
};

// f(offset, n) for the runs of columns [begin, end) that lie in one unit; powers of two.
template <class F>
TREL_INLINE void for_runs(const C17Plan& plan, u64 begin, u64 end, F f) {
    const u64 unit = u64(1) << plan.log_unit, run = end - begin < unit ? end - begin : unit;
    for (u64 j = begin; j < end; j += run) f(plan.offset(j), run);
}

// The pass of a node forward, on columns [begin, end).
template <M WHAT>
TREL_INLINE void forward_node(const Call& call, const Node& node, u64 begin, u64 end, const double* x,
                              const double* y) {
    const C17Plan& plan = *call.plan;
    const u32 log_radix = node.log_radix(plan);
    const u64 stride = plan.offset(node.columns(plan));
    const Kind kind = node.kind == Kind::plain && plan.passes[node.pass].reduce ? Kind::reducing : node.kind;
    PassTwiddles tw;
    pass_twiddles(call.tables->forward, node.g->forward, log_radix, tw, call.m);
    const auto pass = [&](const double* data) {
        for_runs(plan, begin, end, [&](u64 offset, u64 n) {
            double* const at = const_cast<double*>(data) + offset;
            forward_radix(log_radix, kind, at, stride, at, stride, n, tw.tw, call.m);
        });
    };
    pass(x);
    if constexpr (WHAT == M::product) pass(y);
}
// The pass of a node back, on columns [begin, end).
TREL_INLINE void inverse_node(const Call& call, const Node& node, u64 begin, u64 end, double* out) {
    const C17Plan& plan = *call.plan;
    const u32 log_radix = node.log_radix(plan);
    const u64 stride = plan.offset(node.columns(plan));
    PassTwiddles tw;
    pass_twiddles(call.tables->inverse, node.g->inverse, log_radix, tw, call.m);
    for_runs(plan, begin, end, [&](u64 offset, u64 n) {
        inverse_radix(log_radix, node.kind == Kind::root, out + offset, stride, out + offset, stride, n,
                      tw.tw, call.m);
    });
}

template <M WHAT>
void whole(const Call& call, const Node& node, double* out, const double* x, const double* y);

// Child i of a node that is not the last above the tails.
template <M WHAT>
TREL_INLINE void subtree(const Call& call, const Node& node, u64 i, double* out, const double* x,
                         const double* y) {
    const u32 log_radix = node.log_radix(*call.plan);
    const u64 at = i * call.plan->offset(node.columns(*call.plan));
    Bases child;
    clear_bases(child);
    child_bases(*call.tables, *node.g, node.levels, log_radix, i, child, call.m);
    whole<WHAT>(call, {node.pass + 1, node.levels - log_radix, Kind::plain, &child}, out + at, x + at,
                y + at);
}

template <M WHAT>
void whole(const Call& call, const Node& node, double* out, const double* x, const double* y) {
    const u32 log_radix = node.log_radix(*call.plan);
    const u64 columns = node.columns(*call.plan);
    if constexpr (transforms_x(WHAT)) forward_node<WHAT>(call, node, 0, columns, x, y);
    if (node.pass + 1 == call.plan->n_passes) {
        tails<WHAT>(call, *node.g, log_radix, out, x, y);
    } else {
        for (u64 i = 0; i < (u64(1) << log_radix); i++) subtree<WHAT>(call, node, i, out, x, y);
    }
    if constexpr (inverts(WHAT)) inverse_node(call, node, 0, columns, out);
}

// What the row is to become decides the code; `item` of `items` says which part of it is wanted.
template <M WHAT>
void row_part(const Call& call, const Node& root, C17Part part, u64 item, u64 items, double* out,
              const double* x, const double* y) {
    const u64 columns = root.columns(*call.plan);
    const u64 begin = columns / items * item, end = columns / items * (item + 1);
    switch (part) {
        case C17Part::whole:
            return whole<WHAT>(call, root, out, x, y);
        case C17Part::first_pass:
            if constexpr (transforms_x(WHAT)) forward_node<WHAT>(call, root, begin, end, x, y);
            return;
        case C17Part::subtree:
            return subtree<WHAT>(call, root, item, out, x, y);
        case C17Part::last_pass:
            if constexpr (inverts(WHAT)) inverse_node(call, root, begin, end, out);
            return;
    }
}

void middle(C17Middle what, C17Part part, u64 item, u64 items, const C17Plan& plan, const C17Prime& prime,
            u32 row, double* out, const double* x, const double* y) {
    const Call call{&plan, prime.tables, modulus(prime)};
    Bases g;
    clear_bases(g);
    root_bases(plan, prime, row, plan.c, g);
    const Node root{0, plan.c, row == 0 ? Kind::root : Kind::plain, &g};
    switch (what) {
        case M::forward:
            return row_part<M::forward>(call, root, part, item, items, out, x, y);
        case M::product:
            return row_part<M::product>(call, root, part, item, items, out, x, y);
        case M::square:
            return row_part<M::square>(call, root, part, item, items, out, x, y);
        case M::held_product:
            return row_part<M::held_product>(call, root, part, item, items, out, x, y);
        case M::inverse:
            return row_part<M::inverse>(call, root, part, item, items, out, x, y);
        case M::inverse_square:
            return row_part<M::inverse_square>(call, root, part, item, items, out, x, y);
    }
}

}  // namespace

constinit const C17PassKernels c17_pass_kernels{kMaxLogRadix, split, join, middle};

}  // namespace trel::TREL_ISA
