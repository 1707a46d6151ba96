// The FFT's vector kernels: butterflies over blocks of L complex values, products of the leaves, the top
// sweep that cuts operands into points and the one that joins coefficients into words. See fft_kernels.h for
// the data.
//
// Method: right-angle convolution (Crandall and Fagin, 1994) by repeated splitting x^m - c = (x^(m/2) -
// s)(x^(m/2) + s) (Bernstein, 2001, "twisted" form left out), twiddles constant within a node. A forward
// butterfly is p = u + s v, q = 2 u - p: six fused operations for a complex pair.
#include "arith/fft/fft_kernels.h"

#include "base/simd/vec_register.h"

namespace trel::TREL_ISA {
namespace {

constexpr u64 kBlock = 2 * L;  // doubles of a block

struct Complex {
    F64xL re, im;
};

TREL_INLINE Complex load_block(const double* p) {
    return {load(p), load(p + L)};
}
TREL_INLINE void store(double* p, Complex x) {
    store(p, x.re);
    store(p + L, x.im);
}
TREL_INLINE Complex operator+(Complex a, Complex b) {
    return {a.re + b.re, a.im + b.im};
}
TREL_INLINE Complex operator-(Complex a, Complex b) {
    return {a.re - b.re, a.im - b.im};
}

// ---- butterflies

// (u, v) -> (u + s v, u - s v)
TREL_INLINE void split(Complex& u, Complex& v, Complex s, F64xL two) {
    const F64xL re = fnma(s.im, v.im, fma(s.re, v.re, u.re));
    const F64xL im = fma(s.im, v.re, fma(s.re, v.im, u.im));
    v = {fms(two, u.re, re), fms(two, u.im, im)};
    u = {re, im};
}
// the same with i s
TREL_INLINE void split_i(Complex& u, Complex& v, Complex s, F64xL two) {
    const F64xL re = fnma(s.im, v.re, fnma(s.re, v.im, u.re));
    const F64xL im = fnma(s.im, v.im, fma(s.re, v.re, u.im));
    v = {fms(two, u.re, re), fms(two, u.im, im)};
    u = {re, im};
}
// split of real u, v
TREL_INLINE void split_real(Complex& u, Complex& v, Complex s, F64xL two, F64xL zero) {
    const F64xL re = fma(s.re, v.re, u.re);
    const F64xL im = s.im * v.re;
    v = {fms(two, u.re, re), zero - im};
    u = {re, im};
}
// (u, v) -> (u + v, conj(s) (u - v))
TREL_INLINE void join(Complex& u, Complex& v, Complex s) {
    const Complex d = u - v;
    u = u + v;
    v = {fma(s.im, d.im, s.re * d.re), fms(s.re, d.im, s.im * d.re)};
}
// the same with i s
TREL_INLINE void join_i(Complex& u, Complex& v, Complex s) {
    const Complex d = u - v;
    u = u + v;
    v = {fms(s.re, d.im, s.im * d.re), fnms(s.re, d.re, s.im * d.im)};
}

TREL_INLINE Complex twiddle(const FftQuad* q, int i) {
    return {broadcast(q->re[i]), broadcast(q->im[i])};
}

template <int R, bool real>
TREL_INLINE void forward_radix(Complex x[R], const FftQuad* q) {
    const F64xL two = broadcast(2.0);
    const F64xL zero = broadcast(0.0);
    const Complex s1 = twiddle(q, 0);
    for (int i = 0; i < R / 2; i++) {
        if (real) {
            split_real(x[i], x[i + R / 2], s1, two, zero);
        } else {
            split(x[i], x[i + R / 2], s1, two);
        }
    }
    const Complex s2 = twiddle(q, 1);
    for (int i = 0; i < R / 4; i++) split(x[i], x[i + R / 4], s2, two);
    for (int i = 0; i < R / 4; i++) split_i(x[R / 2 + i], x[R / 2 + R / 4 + i], s2, two);
    if constexpr (R == 8) {
        const Complex s3 = twiddle(q, 2), s4 = twiddle(q, 3);
        split(x[0], x[1], s3, two);
        split_i(x[2], x[3], s3, two);
        split(x[4], x[5], s4, two);
        split_i(x[6], x[7], s4, two);
    }
}

template <int R>
TREL_INLINE void inverse_radix(Complex x[R], const FftQuad* q) {
    if constexpr (R == 8) {
        const Complex s3 = twiddle(q, 2), s4 = twiddle(q, 3);
        join(x[0], x[1], s3);
        join_i(x[2], x[3], s3);
        join(x[4], x[5], s4);
        join_i(x[6], x[7], s4);
    }
    const Complex s2 = twiddle(q, 1);
    for (int i = 0; i < R / 4; i++) join(x[i], x[i + R / 4], s2);
    for (int i = 0; i < R / 4; i++) join_i(x[R / 2 + i], x[R / 2 + R / 4 + i], s2);
    const Complex s1 = twiddle(q, 0);
    for (int i = 0; i < R / 2; i++) join(x[i], x[i + R / 2], s1);
}

// x^a - i into its factors x - s w^q, s = e^(2 pi i / 4a), w = e^(2 pi i / a): the first split for a = 3
// and 5. Constants: cos and sin of 2 pi k / 3 and 2 pi k / 5, and powers of s.
constexpr double kSin3 = 0.86602540378443864676;
constexpr double kCos5_1 = 0.30901699437494742410, kSin5_1 = 0.95105651629515357212;
constexpr double kCos5_2 = -0.80901699437494742410, kSin5_2 = 0.58778525229247312917;
// s^k, k = 1 ..: a = 3: 30, 60 degrees; a = 5: 18, 36, 54, 72 degrees
constexpr double kTwist3[2][2] = {{0.86602540378443864676, 0.5}, {0.5, 0.86602540378443864676}};
constexpr double kTwist5[4][2] = {{0.95105651629515357212, 0.30901699437494742410},
                                  {0.80901699437494742410, 0.58778525229247312917},
                                  {0.58778525229247312917, 0.80901699437494742410},
                                  {0.30901699437494742410, 0.95105651629515357212}};

// out_q = sum x_k w^(qk); sign -1 takes the conjugate of w
template <int a, int sign>
TREL_INLINE void odd_dft(Complex x[a]) {
    if constexpr (a == 3) {
        const F64xL half = broadcast(0.5), h = broadcast(sign * kSin3);
        const Complex t = x[1] + x[2], d = x[1] - x[2];
        const Complex m = {fnma(half, t.re, x[0].re), fnma(half, t.im, x[0].im)};
        x[0] = x[0] + t;
        x[1] = {fnma(h, d.im, m.re), fma(h, d.re, m.im)};
        x[2] = {fma(h, d.im, m.re), fnma(h, d.re, m.im)};
    } else {
        const F64xL c1 = broadcast(kCos5_1), c2 = broadcast(kCos5_2), h1 = broadcast(sign * kSin5_1),
                    h2 = broadcast(sign * kSin5_2);
        const Complex t1 = x[1] + x[4], t2 = x[2] + x[3];
        const Complex d1 = x[1] - x[4], d2 = x[2] - x[3];
        const Complex m1 = {fma(c2, t2.re, fma(c1, t1.re, x[0].re)), fma(c2, t2.im, fma(c1, t1.im, x[0].im))};
        const Complex m2 = {fma(c1, t2.re, fma(c2, t1.re, x[0].re)), fma(c1, t2.im, fma(c2, t1.im, x[0].im))};
        const Complex n1 = {fma(h2, d2.re, h1 * d1.re), fma(h2, d2.im, h1 * d1.im)};
        const Complex n2 = {fms(h2, d1.re, h1 * d2.re), fms(h2, d1.im, h1 * d2.im)};
        x[0] = x[0] + (t1 + t2);
        x[1] = {m1.re - n1.im, m1.im + n1.re};
        x[4] = {m1.re + n1.im, m1.im - n1.re};
        x[2] = {m2.re - n2.im, m2.im + n2.re};
        x[3] = {m2.re + n2.im, m2.im - n2.re};
    }
}

template <int a, bool real>
TREL_INLINE void forward_odd(Complex x[a]) {
    for (int k = 1; k < a; k++) {
        const double* t = a == 3 ? kTwist3[k - 1] : kTwist5[k - 1];
        const F64xL re = broadcast(t[0]), im = broadcast(t[1]);
        if (real) {
            x[k] = {re * x[k].re, im * x[k].re};
        } else {
            x[k] = {fms(re, x[k].re, im * x[k].im), fma(re, x[k].im, im * x[k].re)};
        }
    }
    odd_dft<a, 1>(x);
}

template <int a>
TREL_INLINE void inverse_odd(Complex x[a]) {
    odd_dft<a, -1>(x);
    for (int k = 1; k < a; k++) {
        const double* t = a == 3 ? kTwist3[k - 1] : kTwist5[k - 1];
        const F64xL re = broadcast(t[0]), im = broadcast(t[1]);
        x[k] = {fma(im, x[k].im, re * x[k].re), fms(re, x[k].im, im * x[k].re)};
    }
}

// ---- passes

// One radix over n columns; the R inputs (outputs) of a column lie in_stride (out_stride) doubles apart. R =
// 3 and 5 need no quad. in == out with equal strides is in place.
template <int R, bool real, bool past_caches = false>
TREL_INLINE void forward_pass(const double* in, u64 in_stride, double* out, u64 out_stride, u64 n,
                              const FftQuad* q) {
    for (u64 c = 0; c < n; c++) {
        Complex x[R];
        for (int i = 0; i < R; i++) {
            const double* p = in + c * kBlock + i * in_stride;
            x[i] = {load(p), real ? broadcast(0.0) : load(p + L)};
        }
        if constexpr (R == 3 || R == 5) {
            forward_odd<R, real>(x);
        } else if constexpr (R != 1) {
            forward_radix<R, real>(x, q);
        }
        for (int i = 0; i < R; i++) {
            double* p = out + c * kBlock + i * out_stride;
            if (past_caches) {
                stream(p, x[i].re);
                stream(p + L, x[i].im);
            } else {
                store(p, x[i]);
            }
        }
    }
}

template <int R>
TREL_INLINE void inverse_pass(const double* in, u64 in_stride, double* out, u64 out_stride, u64 n,
                              const FftQuad* q) {
    for (u64 c = 0; c < n; c++) {
        Complex x[R];
        for (int i = 0; i < R; i++) x[i] = load_block(in + c * kBlock + i * in_stride);
        inverse_radix<R>(x, q);
        for (int i = 0; i < R; i++) store(out + c * kBlock + i * out_stride, x[i]);
    }
}

// The last inverse radix in place, with scaling and rounding. With worst the distances from integers are
// taken.
template <int R, bool check>
TREL_INLINE void last_pass(double* data, u64 stride, u64 n, const FftQuad* q, double scale, double* worst) {
    const F64xL factor = broadcast(scale), rounder = broadcast(kRounder);
    F64xL distance = broadcast(0.0);
    for (u64 c = 0; c < n; c++) {
        Complex x[R];
        for (int i = 0; i < R; i++) x[i] = load_block(data + c * kBlock + i * stride);
        if constexpr (R == 3 || R == 5) {
            inverse_odd<R>(x);
        } else if constexpr (R != 1) {
            inverse_radix<R>(x, q);
        }
        for (int i = 0; i < R; i++) {
            if (check) {
                const F64xL re = x[i].re * factor, im = x[i].im * factor;
                distance = max(distance, abs(re - round(re)));
                distance = max(distance, abs(im - round(im)));
            }
            store(data + c * kBlock + i * stride,
                  {fma(x[i].re, factor, rounder), fma(x[i].im, factor, rounder)});
        }
    }
    if (check) {
        alignas(64) double d[L];
        store(d, distance);
        for (u32 i = 0; i < L; i++) {
            if (d[i] > *worst) *worst = d[i];
        }
    }
}

// The quad of a node: where it lies, or its product from two tables in `space`.
TREL_INLINE const FftQuad* quad_of(const FftPlan& plan, u64 root, u64 depth, u64 index, FftQuad* space) {
    const FftTwiddles& t = plan.twiddles;
    if (__builtin_expect(depth < FftTwiddles::kLogLow, 1)) {
        return t.direct + root * FftTwiddles::kDirect + (u64(1) << depth) + index;
    }
    const FftQuad* h = t.hi + root * t.hi_stride + (u64(1) << (depth - FftTwiddles::kLogLow)) +
                       (index >> FftTwiddles::kLogLow);
    const FftQuad* l = t.low + (index & (FftTwiddles::kLow - 1));
    const __m256d hr = _mm256_loadu_pd(h->re), hi = _mm256_loadu_pd(h->im);
    const __m256d lr = _mm256_loadu_pd(l->re), li = _mm256_loadu_pd(l->im);
    _mm256_store_pd(space->re, _mm256_fmsub_pd(hr, lr, _mm256_mul_pd(hi, li)));
    _mm256_store_pd(space->im, _mm256_fmadd_pd(hr, li, _mm256_mul_pd(hi, lr)));
    return space;
}

#if TREL_ISA_avx512
constexpr u32 kMaxLogRadix = 3;
#else
constexpr u32 kMaxLogRadix = 2;  // sixteen registers hold a radix of four
#endif

// The radix of the next level from the top when log_n levels are left: eights as long as fours can do the
// rest.
TREL_INLINE u32 next_log_radix(u32 log_n) {
    if (kMaxLogRadix == 2) return log_n % 2 ? 3 : 2;
    return log_n == 2 || log_n == 4 ? 2 : 3;
}

void forward_node(const FftPlan& plan, double* data, u64 root, u32 depth, u64 index, u32 log_n) {
    FftQuad space;
    if (log_n == 3 && next_log_radix(3) == 3) {
        forward_pass<8, false>(data, kBlock, data, kBlock, 1, quad_of(plan, root, depth, index, &space));
        return;
    }
    if (log_n == 2) {
        forward_pass<4, false>(data, kBlock, data, kBlock, 1, quad_of(plan, root, depth, index, &space));
        return;
    }
    const u32 log_r = next_log_radix(log_n);
    const u64 n = u64(1) << (log_n - log_r);
    const FftQuad* q = quad_of(plan, root, depth, index, &space);
    if (log_r == 3) {
        forward_pass<8, false>(data, n * kBlock, data, n * kBlock, n, q);
    } else {
        forward_pass<4, false>(data, n * kBlock, data, n * kBlock, n, q);
    }
    for (u64 i = 0; i < u64(1) << log_r; i++) {
        forward_node(plan, data + i * n * kBlock, root, depth + log_r, (index << log_r) + i, log_n - log_r);
    }
}

// ---- leaves

// c y for c = s, -s, i s, -i s (kind 0 .. 3)
template <int kind>
TREL_INLINE Complex turned(Complex y, Complex s) {
    if constexpr (kind == 0) return {fms(s.re, y.re, s.im * y.im), fma(s.re, y.im, s.im * y.re)};
    if constexpr (kind == 1) return {fms(s.im, y.im, s.re * y.re), fnms(s.re, y.im, s.im * y.re)};
    if constexpr (kind == 2) return {fnms(s.re, y.im, s.im * y.re), fms(s.re, y.re, s.im * y.im)};
    return {fma(s.re, y.im, s.im * y.re), fms(s.im, y.im, s.re * y.re)};
}

template <u32 k>
TREL_INLINE void leaf_row(const double* x, Complex low, Complex y, F64xL& rr, F64xL& ii, F64xL& ri,
                          F64xL& ir) {
    const Complex row = {move_up<k>(y.re, low.re), move_up<k>(y.im, low.im)};
    const F64xL re = broadcast(x[k]), im = broadcast(x[L + k]);
    rr = fma(re, row.re, rr);
    ii = fma(im, row.im, ii);
    ri = fma(re, row.im, ri);
    ir = fma(im, row.re, ir);
}

// out = x y modulo t^L - c: the sum over k of x_k (y t^k), whose lanes are y's, shifted, with c y coming in
// below.
template <int kind>
TREL_INLINE void leaf(double* out, const double* x, const double* y_block, Complex s) {
    const Complex y = load_block(y_block);
    const Complex low = turned<kind>(y, s);
    const F64xL re = broadcast(x[0]), im = broadcast(x[L]);
    F64xL rr = re * y.re, ii = im * y.im, ri = re * y.im, ir = im * y.re;
    leaf_row<1>(x, low, y, rr, ii, ri, ir);
    leaf_row<2>(x, low, y, rr, ii, ri, ir);
    leaf_row<3>(x, low, y, rr, ii, ri, ir);
#if TREL_ISA_avx512
    leaf_row<4>(x, low, y, rr, ii, ri, ir);
    leaf_row<5>(x, low, y, rr, ii, ri, ir);
    leaf_row<6>(x, low, y, rr, ii, ri, ir);
    leaf_row<7>(x, low, y, rr, ii, ri, ir);
#endif
    store(out, {rr - ii, ri + ir});
}

TREL_INLINE void four_leaves(double* out, const double* x, const double* y, const FftQuad* q, int i) {
    const Complex s = twiddle(q, i);
    leaf<0>(out, x, y, s);
    leaf<1>(out + kBlock, x + kBlock, y + kBlock, s);
    leaf<2>(out + 2 * kBlock, x + 2 * kBlock, y + 2 * kBlock, s);
    leaf<3>(out + 3 * kBlock, x + 3 * kBlock, y + 3 * kBlock, s);
}

// The leaves below a node of R blocks.
template <int R>
TREL_INLINE void leaves(double* out, const double* x, const double* y, const FftQuad* q) {
    if constexpr (R == 4) {
        four_leaves(out, x, y, q, 1);
    } else {
        four_leaves(out, x, y, q, 2);
        four_leaves(out + 4 * kBlock, x + 4 * kBlock, y + 4 * kBlock, q, 3);
    }
}

void inverse_node(const FftPlan& plan, double* work, const double* x, const double* y, u64 root, u32 depth,
                  u64 index, u32 log_n) {
    FftQuad space;
    const FftQuad* q = quad_of(plan, root, depth, index, &space);
    if (log_n == 3 && next_log_radix(3) == 3) {
        leaves<8>(work, x, y, q);
        inverse_pass<8>(work, kBlock, work, kBlock, 1, q);
        return;
    }
    if (log_n == 2) {
        leaves<4>(work, x, y, q);
        inverse_pass<4>(work, kBlock, work, kBlock, 1, q);
        return;
    }
    const u32 log_r = next_log_radix(log_n);
    const u64 n = u64(1) << (log_n - log_r);
    for (u64 i = 0; i < u64(1) << log_r; i++) {
        const u64 o = i * n * kBlock;
        inverse_node(plan, work + o, x + o, y + o, root, depth + log_r, (index << log_r) + i, log_n - log_r);
    }
    if (log_r == 3) {
        inverse_pass<8>(work, n * kBlock, work, n * kBlock, n, q);
    } else {
        inverse_pass<4>(work, n * kBlock, work, n * kBlock, n, q);
    }
}

// ---- cutting an operand into points

// Points are balanced: field i of b bits is read as a signed number, and the carry that this leaves to field
// i + 1 is simply the top bit of field i. So a point is made of the b + 1 bits from bit i b - 1 on, with
// nothing to propagate, and worst-case operands give errors four times smaller (all-ones ones almost none).
// The last field of an operand stays unsigned: no point is ever added.
//
// Eight points are b bytes. Four of them lie within sixteen bytes of the byte before the first: a byte
// shuffle brings each into its own 32 bits, shifts do the rest. half 0: points 0 .. 3, half 1: points 4 .. 7.
struct Cutter {
    alignas(32) u8 shuffle[2][16];
    alignas(32) u32 left[2][4];
    u32 b;
    u32 half_offset;  // byte in which point 4 begins
};

TREL_INLINE void set_cutter(Cutter& cut, u32 b) {
    cut.b = b;
    cut.half_offset = 4 * b / 8;
    for (u32 h = 0; h < 2; h++) {
        for (u32 i = 0; i < 4; i++) {
            const u32 bit = 7 + (4 * b * h) % 8 + i * b;
            for (u32 j = 0; j < 4; j++) cut.shuffle[h][4 * i + j] = static_cast<u8>(bit / 8 + j);
            cut.left[h][i] = 32 - (bit % 8 + b + 1);
        }
    }
}

// Bytes that cut_points may read from the byte before eight points.
constexpr u64 kCutReach = 32;

// L points as doubles; p: the byte before their group of eight.
TREL_INLINE F64xL cut_points(const Cutter& cut, const u8* p, u32 half) {
    const int right = static_cast<int>(31 - cut.b);
#if TREL_ISA_avx512
    (void)half;
    __m256i x = _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    x = _mm256_inserti128_si256(x, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + cut.half_offset)), 1);
    x = _mm256_shuffle_epi8(x, _mm256_load_si256(reinterpret_cast<const __m256i*>(cut.shuffle[0])));
    x = _mm256_sllv_epi32(x, _mm256_load_si256(reinterpret_cast<const __m256i*>(cut.left[0])));
    x = _mm256_srav_epi32(x, _mm256_set1_epi32(right));  // 2 field + bit
    x = _mm256_sub_epi32(x, _mm256_srai_epi32(x, 1));    // field + bit
    return _mm512_cvtepi32_pd(x);
#else
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + (half ? cut.half_offset : 0)));
    x = _mm_shuffle_epi8(x, _mm_load_si128(reinterpret_cast<const __m128i*>(cut.shuffle[half])));
    x = _mm_sllv_epi32(x, _mm_load_si128(reinterpret_cast<const __m128i*>(cut.left[half])));
    x = _mm_srav_epi32(x, _mm_set1_epi32(right));  // 2 field + bit
    x = _mm_sub_epi32(x, _mm_srai_epi32(x, 1));    // field + bit
    return _mm256_cvtepi32_pd(x);
#endif
}

constexpr u64 kBlocksPerGroup = 8 / L;  // blocks that hold eight points

// An operand with copies of its ends, so that reads of whole vectors stay inside memory that is ours: `head`
// stands for bytes -1 .. 62, `tail` for the last 64 bytes and as many zeros.
struct Operand {
    alignas(64) u8 head[64];
    alignas(64) u8 tail[128];
    const u8* data;
    u64 bytes;
};

void set_operand(Operand& o, const u8* data, u64 bytes) {
    o.data = data;
    o.bytes = bytes;
    __builtin_memset(o.tail, 0, sizeof o.tail);
    o.head[0] = 0;
    if (bytes >= 64) {
        __builtin_memcpy(o.head + 1, data, 63);
        __builtin_memcpy(o.tail, data + bytes - 64, 64);
    } else {
        __builtin_memset(o.head, 0, sizeof o.head);
        for (u64 i = 0; i < bytes; i++) o.head[1 + i] = o.tail[64 - bytes + i] = data[i];
    }
}

// Groups of eight points at or near an end of the operand.
void cut_edge(const Cutter& cut, double* out, const Operand& o, u64 offset, u64 n) {
    for (u64 c = 0; c < n; c += kBlocksPerGroup, offset += cut.b) {
        double* group = out + c * kBlock;
        if (offset >= o.bytes) {
            for (u64 h = 0; h < kBlocksPerGroup; h++) store(group + h * kBlock, broadcast(0.0));
            continue;
        }
        const u64 rest = o.bytes - offset;
        const u8* p = offset == 0 ? o.head : rest < kCutReach ? o.tail + 64 - rest - 1 : o.data + offset - 1;
        for (u64 h = 0; h < kBlocksPerGroup; h++) {
            store(group + h * kBlock, cut_points(cut, p, static_cast<u32>(h)));
        }
        // a last field that is full and has its top bit set: unsigned, and without a carry
        if (rest <= cut.b && o.tail[63] >= 0x80) {
            const u32 fields = static_cast<u32>(8 * rest) / cut.b;
            if (fields * cut.b == 8 * rest) {
                const u32 i = fields - 1;
                group[i / L * kBlock + i % L] += static_cast<double>(u64(1) << cut.b);
                if (fields < 8) group[fields / L * kBlock + fields % L] -= 1;
            }
        }
    }
}

// n blocks (one part, re or im) of points, from the group of eight that starts at byte `offset` of the
// operand.
TREL_INLINE void cut_stream(const Cutter& cut, double* out, const Operand& o, u64 offset, u64 n) {
    if (offset >= o.bytes) {
        for (u64 c = 0; c < n; c++) store(out + c * kBlock, broadcast(0.0));
    } else if (offset != 0 && offset + n * cut.b + kCutReach <= o.bytes) {
        const u8* p = o.data + offset - 1;
        for (u64 c = 0; c < n; c++) {
            store(out + c * kBlock, cut_points(cut, p, c % kBlocksPerGroup));
            if ((c + 1) % kBlocksPerGroup == 0) p += cut.b;
        }
    } else {
        cut_edge(cut, out, o, offset, n);
    }
}

// ---- the top sweep

constexpr u32 kMaxStep = 16;  // 128 KB of stack for 64 streams

// Data from this size on are written past the caches: they would have left them before they are read.
constexpr u64 kPastCaches = u64(1) << 22;

template <bool real>
TREL_INLINE void first_radix(const FftPlan& plan, double* s, u64 n, const FftQuad* q) {
    const u64 stride = n * kBlock;
    switch (plan.r0) {
        case 1:
            return forward_pass<1, real>(s, stride, s, stride, n, q);
        case 3:
            return forward_pass<3, real>(s, stride, s, stride, n, q);
        case 4:
            return forward_pass<4, real>(s, stride, s, stride, n, q);
        case 5:
            return forward_pass<5, real>(s, stride, s, stride, n, q);
        default:
            return forward_pass<8, real>(s, stride, s, stride, n, q);
    }
}

void forward_top(const FftPlan& plan, double* data, const u8* operand, u64 bytes, u64 c0, u64 c1) {
    alignas(64) double streams[FftPlan::kMaxStreams * kMaxStep * kBlock];
    Cutter cut;
    set_cutter(cut, plan.b);
    Operand o;
    set_operand(o, operand, bytes);
    const u64 S = plan.streams(), columns = plan.columns(), step = plan.step;
    const u64 column_bytes_2 = plan.b * 2 / kBlocksPerGroup;  // bytes of two columns: an integer
    const u64 im_offset = S * columns * column_bytes_2 / 2;
    const bool real = bytes <= im_offset;
    const FftQuad* q0 = plan.twiddles.direct + 1;
    const u64 r1 = u64(1) << plan.log_r1;
    const bool past_caches = plan.log_r1 == 3 && S * columns * kBlock * sizeof(double) >= kPastCaches;
    for (u64 c = c0; c < c1; c += step) {
        for (u64 s = 0; s < S; s++) {
            const u64 offset = (s * columns + c) * column_bytes_2 / 2;
            double* out = streams + s * step * kBlock;
            cut_stream(cut, out, o, offset, step);
            if (!real) cut_stream(cut, out + L, o, im_offset + offset, step);
        }
        if (real) {
            first_radix<true>(plan, streams, r1 * step, q0);
        } else {
            first_radix<false>(plan, streams, r1 * step, q0);
        }
        FftQuad space;
        for (u64 q = 0; q < plan.r0; q++) {
            const FftQuad* quad =
                plan.a == 1 ? quad_of(plan, 0, plan.log_r0, q, &space) : quad_of(plan, q, 0, 0, &space);
            const double* in = streams + q * r1 * step * kBlock;
            double* out = data + (q * r1 * columns + c) * kBlock;
            if (past_caches) {
                forward_pass<8, false, true>(in, step * kBlock, out, columns * kBlock, step, quad);
            } else if (plan.log_r1 == 3) {
                forward_pass<8, false>(in, step * kBlock, out, columns * kBlock, step, quad);
            } else {
                forward_pass<4, false>(in, step * kBlock, out, columns * kBlock, step, quad);
            }
        }
    }
    if (past_caches) _mm_sfence();
}

void forward_streams(const FftPlan& plan, double* data, u64 s0, u64 s1) {
    if (plan.log_columns == 0) return;
    const u64 size = plan.columns() * kBlock;
    for (u64 s = s0; s < s1; s++) {
        if (plan.a == 1) {
            forward_node(plan, data + s * size, 0, plan.log_r0 + plan.log_r1, s, plan.log_columns);
        } else {
            const u64 index = s & ((u64(1) << plan.log_r1) - 1);
            forward_node(plan, data + s * size, s >> plan.log_r1, plan.log_r1, index, plan.log_columns);
        }
    }
}

void inverse_streams(const FftPlan& plan, double* work, const double* x, const double* y, u64 s0, u64 s1) {
    const u64 size = plan.columns() * kBlock;
    const u64 r1 = u64(1) << plan.log_r1;
    if (plan.log_columns == 0) {
        for (u64 s = s0; s < s1; s += r1) {
            FftQuad space;
            const FftQuad* q = plan.a == 1 ? quad_of(plan, 0, plan.log_r0, s >> plan.log_r1, &space)
                                           : quad_of(plan, s >> plan.log_r1, 0, 0, &space);
            const u64 o = s * size;
            if (r1 == 8) {
                leaves<8>(work + o, x + o, y + o, q);
            } else {
                leaves<4>(work + o, x + o, y + o, q);
            }
        }
        return;
    }
    for (u64 s = s0; s < s1; s++) {
        const u64 o = s * size;
        if (plan.a == 1) {
            inverse_node(plan, work + o, x + o, y + o, 0, plan.log_r0 + plan.log_r1, s, plan.log_columns);
        } else {
            inverse_node(plan, work + o, x + o, y + o, s >> plan.log_r1, plan.log_r1, s & (r1 - 1),
                         plan.log_columns);
        }
    }
}

// ---- joining coefficients into words

struct JoinJob {
    const FftPlan* plan;
    const FftWindow* window;
    double* work;
    const double* streams;  // rounded coefficients: S streams of `step` blocks
    u64 column;             // first column of these blocks
    u64* carry;             // 2 S running carries, biased
};

// Eight point vectors (lanes are streams) -> b bytes a lane: words 0 and, for b > 16, 1 of them, and the last
// 8 bytes.
template <u32 b>
TREL_INLINE void join_points(const F64xL x[8], U64xL& carry, U64xL out[3]) {
    const U64xL bias = broadcast(kRounderBits >> b), mask = broadcast((u64(1) << b) - 1);
    U64xL w[3] = {broadcast(u64(0)), broadcast(u64(0)), broadcast(u64(0))};
    TREL_UNROLL for (u32 i = 0; i < 8; i++) {
        // the rounder's bits and the bias of the carry keep the sum positive: logical shifts do
        const U64xL t = bits_of(x[i]) - bias + carry;
        carry = t >> b;
        const U64xL digit = t & mask;
        const u32 word = i * b / 64, bit = i * b % 64;
        w[word] = bit == 0 ? digit : w[word] | digit << bit;
        if (bit + b > 64) w[word + 1] = digit >> (64 - bit);
    }
    constexpr u32 kLast = b <= 16 ? 1 : 2;
    constexpr u32 kOff = 8 * b - 64 * kLast;  // bits in the last word
    out[0] = w[0];
    out[1] = w[1];
    out[kLast] = kOff == 64 ? w[kLast] : w[kLast - 1] >> kOff | w[kLast] << (64 - kOff);
}

// Exactly b bytes from the words of one lane.
template <u32 b>
TREL_INLINE void store_points(u8* to, const u64* words) {
    __builtin_memcpy(to, words, 8);
    if (b > 16) __builtin_memcpy(to + 8, words + L, 8);
    __builtin_memcpy(to + b - 8, words + (b <= 16 ? L : 2 * L), 8);
}

// The same where the window may end within the b bytes or beside them.
template <u32 b>
void store_clipped(const JoinJob& job, u64 stream, u64 column, const u64* words) {
    const FftPlan& plan = *job.plan;
    const FftWindow& w = *job.window;
    const u64 S = plan.streams(), columns = plan.columns();
    const u64 position = (stream * columns + column) / kBlocksPerGroup * b;
    if (position >= w.hi) return;
    if (position >= w.lo && position + b <= w.hi) return store_points<b>(w.base + position, words);
    const u64 part = stream >= S;
    u8* slot = reinterpret_cast<u8*>(job.work + ((stream - part * S) * columns + column) * kBlock + part * 8);
    store_points<b>(slot, words);
    for (u64 i = position < w.lo ? w.lo - position : 0; i < b && position + i < w.hi; i++) {
        w.base[position + i] = slot[i];
    }
}

template <u32 b>
void join_block(const JoinJob& job) {
    constexpr u32 kWords = b <= 16 ? 2 : 3;
    const FftPlan& plan = *job.plan;
    const FftWindow& window = *job.window;
    const u64 S = plan.streams(), step = plan.step;
    const u64 lane_bytes = plan.columns() * b / kBlocksPerGroup;
    for (u64 g = 0; g < 2 * S; g += L) {
        U64xL carry = load(job.carry + g);
        const double* in[L];
        for (u32 l = 0; l < L; l++) {
            const u64 part = g + l >= S;
            in[l] = job.streams + (g + l - part * S) * step * kBlock + part * L;
        }
        for (u64 c = 0; c < step; c += kBlocksPerGroup) {
            F64xL x[8];
            for (u64 h = 0; h < kBlocksPerGroup; h++) {
                for (u32 l = 0; l < L; l++) x[h * L + l] = load(in[l] + (c + h) * kBlock);
                transpose(x + h * L);
            }
            U64xL w[3];
            join_points<b>(x, carry, w);
            alignas(64) u64 words[kWords * L];
            for (u32 i = 0; i < kWords; i++) store(words + i * L, w[i]);
            const u64 column = job.column + c;
            const u64 position = g * lane_bytes + column / kBlocksPerGroup * b;
            if (__builtin_expect(position >= window.lo && position + (L - 1) * lane_bytes + b <= window.hi,
                                 1)) {
                u8* out = window.base + position;
                for (u32 l = 0; l < L; l++, out += lane_bytes) store_points<b>(out, words + l);
            } else {
                for (u32 l = 0; l < L; l++) store_clipped<b>(job, g + l, column, words + l);
            }
        }
        store(job.carry + g, carry);
    }
}

using JoinBlock = void (*)(const JoinJob&);
constexpr JoinBlock kJoinBlock[22] = {
    nullptr,        nullptr,        nullptr,        nullptr,        nullptr,        nullptr,
    nullptr,        nullptr,        nullptr,        join_block<9>,  join_block<10>, join_block<11>,
    join_block<12>, join_block<13>, join_block<14>, join_block<15>, join_block<16>, join_block<17>,
    join_block<18>, join_block<19>, join_block<20>, join_block<21>};

template <bool check>
TREL_INLINE void last_radix(const FftPlan& plan, double* s, u64 n, const FftQuad* q, double* worst) {
    const u64 stride = n * kBlock;
    switch (plan.r0) {
        case 1:
            return last_pass<1, check>(s, stride, n, q, plan.scale, worst);
        case 3:
            return last_pass<3, check>(s, stride, n, q, plan.scale, worst);
        case 4:
            return last_pass<4, check>(s, stride, n, q, plan.scale, worst);
        case 5:
            return last_pass<5, check>(s, stride, n, q, plan.scale, worst);
        default:
            return last_pass<8, check>(s, stride, n, q, plan.scale, worst);
    }
}

void inverse_top(const FftPlan& plan, const FftWindow& window, double* work, u64 c0, u64 c1, i64* carry_out,
                 double* worst) {
    alignas(64) double streams[FftPlan::kMaxStreams * kMaxStep * kBlock];
    alignas(64) u64 carry[2 * FftPlan::kMaxStreams];
    const u64 S = plan.streams(), columns = plan.columns(), step = plan.step;
    const u64 r1 = u64(1) << plan.log_r1;
    const u64 bias = kRounderBits >> plan.b;
    for (u64 s = 0; s < 2 * S; s++) carry[s] = bias;
    const JoinBlock join_these = kJoinBlock[plan.b];
    JoinJob job{&plan, &window, work, streams, c0, carry};
    for (u64 c = c0; c < c1; c += step) {
        FftQuad space;
        for (u64 q = 0; q < plan.r0; q++) {
            const FftQuad* quad =
                plan.a == 1 ? quad_of(plan, 0, plan.log_r0, q, &space) : quad_of(plan, q, 0, 0, &space);
            const double* in = work + (q * r1 * columns + c) * kBlock;
            double* out = streams + q * r1 * step * kBlock;
            if (plan.log_r1 == 3) {
                inverse_pass<8>(in, columns * kBlock, out, step * kBlock, step, quad);
            } else {
                inverse_pass<4>(in, columns * kBlock, out, step * kBlock, step, quad);
            }
        }
        const FftQuad* q0 = plan.twiddles.direct + 1;
        if (__builtin_expect(worst != nullptr, 0)) {
            last_radix<true>(plan, streams, r1 * step, q0, worst);
        } else {
            last_radix<false>(plan, streams, r1 * step, q0, nullptr);
        }
        job.column = c;
        join_these(job);
    }
    for (u64 s = 0; s < 2 * S; s++) carry_out[s] = static_cast<i64>(carry[s] - bias);
}

}  // namespace

constinit const FftKernels fft_kernels{L,           kMaxLogRadix,    L == 8 ? 1 : 4,  kMaxStep,
                                       forward_top, forward_streams, inverse_streams, inverse_top};

}  // namespace trel::TREL_ISA
