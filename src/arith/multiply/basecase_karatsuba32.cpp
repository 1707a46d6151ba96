#include <algorithm>
#include <cstring>

#include "arith/kernels/multiply_small.h"
#include "arith/kernels/words32.h"
#include "arith/multiply/basecase_karatsuba.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

u64 bytes32(u64 words) {
    return round_up_64(words * sizeof(u32));
}
u64 karatsuba_bytes(u64 product_words) {
    return bytes32(words32::scratch_words(product_words));
}
u32* spawn32(AlignedBufferC& memory, u64 bytes) {
    return static_cast<u32*>(memory.spawn(bytes).get());
}

void multiply(u32* T, const u32* A, u64 LA, const u32* B, u64 LB, AlignedBufferC memory) {
    if (LA < LB) {
        std::swap(A, B);
        std::swap(LA, LB);
    }
    if (LB == 0) {
        std::fill_n(T, LA, 0);
    } else if (LB < karatsuba_thresholds().mul32) {
        words32::mul_basecase(T, A, LA, B, LB);
    } else {
        words32::mul_karatsuba(T, A, LA, B, LB, spawn32(memory, karatsuba_bytes(LA + LB)));
    }
}

void square(u32* T, const u32* A, u64 L, AlignedBufferC memory) {
    if (L == 0) return;
    if (L < karatsuba_thresholds().sqr32) {
        words32::sqr_basecase(T, A, L);
    } else {
        words32::sqr_karatsuba(T, A, L, spawn32(memory, karatsuba_bytes(2 * L)));
    }
}

class BasecaseKaratsuba32 final : public MultiplyAlgorithm32 {
  public:
    MultiplySizes sizes(u64 words) const override {
        if (words > kBasecaseKaratsubaMaxBits / 32) {
            throw LimitExceededException("BasecaseKaratsuba::sizes()", "", kBasecaseKaratsubaMaxBits,
                                         32 * words);
        }
        MultiplySizes sizes = basecase_karatsuba_algorithm().sizes((words + 1) / 2);
        sizes.output = bytes32(words);
        sizes.scratch = bytes32(words) + karatsuba_bytes(words);
        return sizes;
    }

    void make_transform(TransformHolder& holder, u64 words) const override {
        basecase_karatsuba_algorithm().make_transform(holder, words / 2 + words % 2);
    }
    void make_transform(TransformHolder& holder, u64 words, const MultiplyContext&) const override {
        make_transform(holder, words);
    }

    void sqr_skip(const MultiplyContext& context, u32* T, u64 skip, u64 total, const u32* A,
                  u64 L) const override {
        window(context, T, skip, total, 2 * L,
               [&](u32* product, const AlignedBufferC& memory) { square(product, A, L, memory); });
    }
    void mul_skip(const MultiplyContext& context, u32* T, u64 skip, u64 total, const u32* A, u64 LA,
                  const u32* B, u64 LB) const override {
        window(context, T, skip, total, LA + LB,
               [&](u32* product, const AlignedBufferC& memory) { multiply(product, A, LA, B, LB, memory); });
    }

  private:
    // The whole product of n words goes straight to its place when that is what is wanted.
    template <class Product>
    static void window(const MultiplyContext& context, u32* T, u64 skip, u64 total, u64 n,
                       Product&& product) {
        if (skip == 0 && total == n) return product(T, context.scratch);
        if (skip >= total) return;
        AlignedBufferC memory = context.scratch;
        u32* whole = spawn32(memory, bytes32(n));
        product(whole, memory);
        const u64 end = std::clamp(n, skip, total);
        std::copy(whole + skip, whole + end, T);
        std::fill(T + (end - skip), T + (total - skip), 0);
    }
};

}  // namespace

const MultiplyAlgorithm32& basecase_karatsuba_algorithm32() {
    static const BasecaseKaratsuba32 algorithm;
    return algorithm;
}

}  // namespace trel
