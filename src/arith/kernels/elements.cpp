#include "arith/kernels/elements.h"

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/words32.h"

namespace trel {
namespace {

template <class W, class Product>
void each_product(W* T, const W* A, const W* B, u64 n, u64 count, Product&& product) {
    for (u64 i = 0; i < count; i++) product(T + 2 * i * n, A + i * n, B + i * n);
}

}  // namespace

void mul_elements(Word* T, const Word* A, const Word* B, u64 n, u64 count, Word* scratch) {
    if (n < karatsuba_thresholds().mul64) {
        each_product(T, A, B, n, count,
                     [n](Word* t, const Word* a, const Word* b) { mul_basecase(t, a, n, b, n); });
    } else {
        each_product(T, A, B, n, count, [n, scratch](Word* t, const Word* a, const Word* b) {
            mul_karatsuba(t, a, n, b, n, scratch, serial_context());
        });
    }
}

void sqr_elements(Word* T, const Word* A, u64 n, u64 count, Word* scratch) {
    if (n < karatsuba_thresholds().sqr64) {
        each_product(T, A, A, n, count, [n](Word* t, const Word* a, const Word*) { sqr_basecase(t, a, n); });
    } else {
        each_product(T, A, A, n, count, [n, scratch](Word* t, const Word* a, const Word*) {
            sqr_karatsuba(t, a, n, scratch, serial_context());
        });
    }
}

namespace words32 {

void mul_elements(u32* T, const u32* A, const u32* B, u64 n, u64 count, u32* scratch) {
    if (n < karatsuba_thresholds().mul32) {
        each_product(T, A, B, n, count,
                     [n](u32* t, const u32* a, const u32* b) { mul_basecase(t, a, n, b, n); });
    } else {
        each_product(T, A, B, n, count, [n, scratch](u32* t, const u32* a, const u32* b) {
            mul_karatsuba(t, a, n, b, n, scratch);
        });
    }
}

void sqr_elements(u32* T, const u32* A, u64 n, u64 count, u32* scratch) {
    if (n < karatsuba_thresholds().sqr32) {
        each_product(T, A, A, n, count, [n](u32* t, const u32* a, const u32*) { sqr_basecase(t, a, n); });
    } else {
        each_product(T, A, A, n, count,
                     [n, scratch](u32* t, const u32* a, const u32*) { sqr_karatsuba(t, a, n, scratch); });
    }
}

}  // namespace words32
}  // namespace trel
