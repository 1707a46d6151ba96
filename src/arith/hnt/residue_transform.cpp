#include "arith/hnt/residue_transform.h"

#include "arith/multiply/odd_residue.h"
#include "arith/residue/residue_power.h"

namespace trel::residue_transform {
namespace {

constexpr u64 kGenerator = 3;  // of the nonzero residues

u64 add(u64 a, u64 b) {
    const u64 s = a + b;
    return s >= kQ ? s - kQ : s;
}
u64 sub(u64 a, u64 b) {
    return a >= b ? a - b : a + kQ - b;
}
u64 mul(u64 a, u64 b) {
    return static_cast<u64>(u128(a) * b % kQ);
}
u64 reciprocal(u64 a) {
    return residue_power(a, kQ - 2, mul);
}
u64 root_of_order(u32 k) {
    return residue_power(kGenerator, (kQ - 1) >> k, mul);
}

// All levels of a node of 2^levels values; root: of that order.
void forward_node(u64* x, u32 levels, u64 root) {
    if (levels == 0) return;
    const u64 half = (u64(1) << levels) / 2;
    u64 power = 1;
    for (u64 i = 0; i < half; i++) {
        const u64 a = x[i], b = x[half + i];
        x[i] = add(a, b);
        x[half + i] = mul(sub(a, b), power);
        power = mul(power, root);
    }
    const u64 square = mul(root, root);
    forward_node(x, levels - 1, square);
    forward_node(x + half, levels - 1, square);
}

void inverse_node(u64* x, u32 levels, u64 root) {
    if (levels == 0) return;
    const u64 half = (u64(1) << levels) / 2, square = mul(root, root);
    inverse_node(x, levels - 1, square);
    inverse_node(x + half, levels - 1, square);
    u64 power = 1;
    for (u64 i = 0; i < half; i++) {
        const u64 a = x[i], b = mul(x[half + i], power);
        x[i] = add(a, b);
        x[half + i] = sub(a, b);
        power = mul(power, root);
    }
}

}  // namespace

u64 of_words(const Word* words, u64 n) {
    static const OddModulus modulus(kQ);
    return modulus.residue(words, n) % kQ;
}

void forward(u64* x, u32 k) {
    forward_node(x, k, root_of_order(k));
}

void multiply(u64* r, const u64* x, const u64* y, u32 k) {
    for (u64 i = 0; i < u64(1) << k; i++) r[i] = mul(x[i], y[i]);
}

void inverse(u64* x, u32 k) {
    inverse_node(x, k, reciprocal(root_of_order(k)));
    const u64 scale = reciprocal(u64(1) << k);
    for (u64 i = 0; i < u64(1) << k; i++) x[i] = mul(x[i], scale);
}

}  // namespace trel::residue_transform
