#include "base/simd/vec_probe.h"

#include "base/simd/vec_bits.h"

namespace trel::TREL_ISA {
namespace {

#define F64_OP(op, expression)                                               \
    {                                                                        \
        op, [](double* r, const double* p, [[maybe_unused]] const double* q, \
               [[maybe_unused]] const double* s) {                           \
            const F64x8 a = load(p);                                         \
            [[maybe_unused]] const F64x8 b = load(q);                        \
            [[maybe_unused]] const F64x8 c = load(s);                        \
            store(r, expression);                                            \
        }                                                                    \
    }
#define U64_OP(op, expression)                                        \
    {                                                                 \
        op, [](u64* r, const u64* p, [[maybe_unused]] const u64* q) { \
            const U64x8 a = load(p);                                  \
            [[maybe_unused]] const U64x8 b = load(q);                 \
            store(r, expression);                                     \
        }                                                             \
    }
#define MASK_OP(op, expression)                       \
    {                                                 \
        op, [](const u64* p, const u64* q) {          \
            const U64x8 a = load(p);                  \
            [[maybe_unused]] const U64x8 b = load(q); \
            return bits_of_mask(expression);          \
        }                                             \
    }

constexpr VecProbe::F64 kF64[] = {
    F64_OP("add", a + b),
    F64_OP("sub", a - b),
    F64_OP("mul", a* b),
    F64_OP("div", a / b),
    F64_OP("fma", fma(a, b, c)),
    F64_OP("fms", fms(a, b, c)),
    F64_OP("fnma", fnma(a, b, c)),
    F64_OP("min", min(a, b)),
    F64_OP("max", max(a, b)),
    F64_OP("round", round(a)),
    F64_OP("floor", floor(a)),
    F64_OP("neg", -a),
    F64_OP("abs", abs(a)),
    F64_OP("zero", zero_f64() + a * zero_f64()),
    F64_OP("broadcast", a + broadcast(1.5)),
    F64_OP("set", a + set(1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0)),
    F64_OP("reverse", reverse(a)),
    F64_OP("swap_pairs", swap_pairs(a)),
    F64_OP("dup_even", dup_even(a)),
    F64_OP("dup_odd", dup_odd(a)),
    F64_OP("unpack_even", unpack_even(a, b)),
    F64_OP("unpack_odd", unpack_odd(a, b)),
};
constexpr VecProbe::U64 kU64[] = {
    U64_OP("add", a + b),
    U64_OP("sub", a - b),
    U64_OP("mul_lo", mul_lo(a, b)),
    U64_OP("mul_32", mul_32(a, b)),
    U64_OP("bit_and", a& b),
    U64_OP("bit_or", a | b),
    U64_OP("bit_xor", a ^ b),
    U64_OP("and_not", and_not(a, b)),
    U64_OP("shift_left", shift_left(a, b)),
    U64_OP("shift_right", shift_right(a, b)),
    U64_OP("min", min(a, b)),
    U64_OP("max", max(a, b)),
    U64_OP("zero", zero_u64() + a),
    U64_OP("broadcast", a + broadcast(u64(5))),
    U64_OP("set", a + set(u64(1), 2, 3, 4, 5, 6, 7, 8)),
    U64_OP("reverse", reverse(a)),
    U64_OP("unpack_even", unpack_even(a, b)),
    U64_OP("unpack_odd", unpack_odd(a, b)),
};
constexpr VecProbe::Mask kMask[] = {
    MASK_OP("equal", equal(a, b)),
    MASK_OP("less", less(a, b)),
    MASK_OP("greater", greater(a, b)),
    MASK_OP("has_bit_17", has_bit(a, broadcast(u64(1) << 17))),
};

void permute_index(double* r, u64* s, const double* a, const u64* b, const u64* index) {
    store(r, permute(load(a), load(index)));
    store(s, permute(load(b), load(index)));
}

void permute_fixed(double* r, u64* s, const double* a, const u64* b) {
    store(r, permute<5, 0, 7, 2, 1, 4, 3, 6>(load(a)));
    store(s, permute<5, 0, 7, 2, 1, 4, 3, 6>(load(b)));
}

void transpose_f64(double* matrix) {
    F64x8 r[8];
    for (int i = 0; i < 8; i++) r[i] = load(matrix + 8 * i);
    transpose(r);
    for (int i = 0; i < 8; i++) store(matrix + 8 * i, r[i]);
}

void transpose_u64(u64* matrix) {
    U64x8 r[8];
    for (int i = 0; i < 8; i++) r[i] = load(matrix + 8 * i);
    transpose(r);
    for (int i = 0; i < 8; i++) store(matrix + 8 * i, r[i]);
}

void aligned_copy_f64(double* r, const double* a) {
    store(r, load(a));
}

void aligned_copy_u64(u64* r, const u64* a) {
    store(r, load(a));
}

}  // namespace

constinit const VecProbe vec_probe{
    kF64,
    sizeof kF64 / sizeof *kF64,
    kU64,
    sizeof kU64 / sizeof *kU64,
    kMask,
    sizeof kMask / sizeof *kMask,
    [](const double* a, const double* b) { return bits_of_mask(less(load(a), load(b))); },
    [](const double* a, const double* b) { return bits_of_mask(greater(load(a), load(b))); },
    [](unsigned n) { return bits_of_mask(first_lanes(n)); },
    [](unsigned bits) { return bits_of_mask(mask_of_bits(bits)); },
    [](double* r, unsigned bits, const double* a, const double* b) {
        store(r, select(mask_of_bits(bits), load(a), load(b)));
    },
    [](u64* r, unsigned bits, const u64* a, const u64* b) {
        store(r, select(mask_of_bits(bits), load(a), load(b)));
    },
    [](u64* r, unsigned bits, const u64* a, const u64* b) {
        store(r, add_masked(mask_of_bits(bits), load(a), load(b)));
    },
    [](double* r, unsigned bits, const double* a, const double* b) {
        store(r, add_masked(mask_of_bits(bits), load(a), load(b)));
    },
    [](double* r, unsigned bits, const double* a, const double* b) {
        store(r, double_minus_masked(mask_of_bits(bits), load(a), load(b)));
    },
    [](double* r, const double* a, const double* b) { store(r, with_sign(load(a), load(b))); },
    [](u64* r, const u64* a, const u64* b) { store(r, add_where_negative(load(a), load(b))); },
    [](u64* r, unsigned bits, const u64* a, const u64* b) {
        store(r, sub_masked(mask_of_bits(bits), load(a), load(b)));
    },
    [](double* r, unsigned bits, const double* a) {
        store_masked(r, mask_of_bits(bits), load_masked(a, mask_of_bits(bits)));
    },
    [](u64* r, unsigned bits, const u64* a) {
        store_masked(r, mask_of_bits(bits), load_masked(a, mask_of_bits(bits)));
    },
    [](double* r, unsigned bits, const double* a) { store(r, load_masked(a, mask_of_bits(bits))); },
    [](u64* r, unsigned bits, const u64* a) { store(r, load_masked(a, mask_of_bits(bits))); },
    aligned_copy_f64,
    aligned_copy_u64,
    [](u64* r, const u64* a, unsigned n) { store(r, shift_left(load(a), n)); },
    [](u64* r, const u64* a, unsigned n) { store(r, shift_right(load(a), n)); },
    [](double* r, const u64* a) { store(r, f64_of_52(load(a))); },
    [](u64* r, const double* a) { store(r, u52_of_f64(load(a))); },
    [](u64* r, const double* a) { store(r, i64_of_f64(load(a))); },
    permute_index,
    permute_fixed,
    transpose_f64,
    transpose_u64,
};

}  // namespace trel::TREL_ISA
