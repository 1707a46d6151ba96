// Butterflies on L complex values at a time. Kernel files only; everything is private to the file that
// includes it.
//
// Method: right-angle convolution (Crandall and Fagin, 1994) by repeated splitting x^m - c = (x^(m/2) -
// s)(x^(m/2) + s) (Bernstein, 2001, without the "twisted" form); the twiddles of a node are constants. A
// forward butterfly is p = u + s v, q = 2 u - p: six fused operations for a complex pair.
#pragma once

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

}  // namespace
}  // namespace trel::TREL_ISA
