#include "arith/multiply/basecase_karatsuba.h"

#include <algorithm>
#include <cstring>

#include "arith/kernels/multiply_small.h"
#include "arith/multiply/product_check.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

constexpr u64 kWordBytes = sizeof(Word);

// Memory of a product of `words` words: the product itself, then Karatsuba's scratch.
u64 product_bytes(u64 words) {
    return round_up_64(words * kWordBytes);
}
u64 karatsuba_bytes(u64 words) {
    return round_up_64(karatsuba_sizes(64 * words).scratch_bytes);
}

// The same for a product of which a window is copied out.
u64 product_memory(u64 words) {
    return product_bytes(words) + karatsuba_bytes(words);
}

// T[0..LA+LB) = A * B; `memory` is looked at only when Karatsuba runs.
void multiply(const ParallelContext& parallel, Word* T, const Word* A, u64 LA, const Word* B, u64 LB,
              AlignedBufferC memory) {
    if (LA < LB) {
        std::swap(A, B);
        std::swap(LA, LB);
    }
    if (LB == 0) {
        std::fill_n(T, LA, 0);
    } else if (LB < karatsuba_thresholds().mul64) {
        mul_basecase(T, A, LA, B, LB);
    } else {
        mul_karatsuba(T, A, LA, B, LB, memory.spawn(karatsuba_bytes(LA + LB)).word_pointer(), parallel);
    }
}

void square(const ParallelContext& parallel, Word* T, const Word* A, u64 L, AlignedBufferC memory) {
    if (L == 0) return;
    if (L < karatsuba_thresholds().sqr64) {
        sqr_basecase(T, A, L);
    } else {
        sqr_karatsuba(T, A, L, memory.spawn(karatsuba_bytes(2 * L)).word_pointer(), parallel);
    }
}

// T[0..total - skip) = words skip .. total - 1 of P[0..n); words at and above n are zero. The other words of
// P are added to rest.
void copy_window(Word* T, u64 skip, u64 total, const Word* P, u64 n, RingResidue* rest) {
    const u64 end = std::clamp(total, skip, std::max(n, skip));
    std::memcpy(T, P + skip, (end - skip) * kWordBytes);
    std::fill(T + (end - skip), T + (total - skip), 0);
    if (rest == nullptr) return;
    const u64 begin = std::min(skip, n);
    rest->add(P, begin, 0);
    if (end < n) rest->add(P + end, n - end, end);
}

// T[0..total - skip) = words skip .. total - 1 of the product; the whole product goes straight to its place
// when that is what is wanted.
void multiply_window(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                     const Word* B, u64 LB, AlignedBufferC memory, RingResidue* rest) {
    const u64 n = LA + LB;
    if (skip == 0 && total >= n) {
        multiply(parallel, T, A, LA, B, LB, memory);
        std::fill(T + n, T + total, 0);
        return;
    }
    Word* product = memory.spawn(product_bytes(n)).word_pointer();
    multiply(parallel, product, A, LA, B, LB, memory);
    copy_window(T, skip, total, product, n, rest);
}

void square_window(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A, u64 L,
                   AlignedBufferC memory, RingResidue* rest) {
    if (skip == 0 && total >= 2 * L) {
        square(parallel, T, A, L, memory);
        std::fill(T + 2 * L, T + total, 0);
        return;
    }
    Word* product = memory.spawn(product_bytes(2 * L)).word_pointer();
    square(parallel, product, A, L, memory);
    copy_window(T, skip, total, product, 2 * L, rest);
}

// Data of one operand: a line of 64 bytes whose first word is the length, then the words.
struct CopiedOperand {
    u64 length;
    const Word* words;
};

constexpr const char* kName = "BKT";

class BasecaseTransform final : public Transform {
  public:
    explicit BasecaseTransform(u64 words)
        : Transform(Windows::accounted, 64 * words, 64 + round_up_64(words * kWordBytes),
                    product_memory(2 * words), product_memory(2 * words), 3) {}

    Fold fold() const override { return Fold::none; }
    const char* name() const override { return kName; }

    bool compatible(const Transform& other) const override {
        return dynamic_cast<const BasecaseTransform*>(&other) != nullptr &&
               other.convolution_bits() == convolution_bits();
    }

  protected:
    void do_forward(const ParallelContext&, void* data, const Word* A, u64 L, void*) const override {
        Word* line = static_cast<Word*>(data);
        line[0] = L;
        if (L != 0) std::memcpy(line + 8, A, L * kWordBytes);
    }

    void do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void*, const void* X,
                    const void* Y, void* scratch, ProductRest* rest) const override {
        const CopiedOperand x = operand_of(X);
        const AlignedBufferC memory(scratch, scratch_bytes());
        if (X == Y) {
            square_window(parallel, T, skip, total, x.words, x.length, memory, ring_of(rest));
        } else {
            const CopiedOperand y = operand_of(Y);
            multiply_window(parallel, T, skip, total, x.words, x.length, y.words, y.length, memory,
                            ring_of(rest));
        }
    }

    // Without copies of the operands.
    void do_multiply_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                           u64 LA, const Word* B, u64 LB, void* memory, ProductRest* rest) const override {
        multiply_window(parallel, T, skip, total, A, LA, B, LB, AlignedBufferC(memory, plain_bytes()),
                        ring_of(rest));
    }
    void do_square_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A, u64 L,
                         void* memory, ProductRest* rest) const override {
        square_window(parallel, T, skip, total, A, L, AlignedBufferC(memory, plain_bytes()), ring_of(rest));
    }
    void do_multiply_held(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                          u64 LA, const void* Y, void*, void* scratch, ProductRest* rest) const override {
        const CopiedOperand y = operand_of(Y);
        multiply_window(parallel, T, skip, total, A, LA, y.words, y.length,
                        AlignedBufferC(scratch, scratch_bytes()), ring_of(rest));
    }

  private:
    // A damaged length must not lead out of the memory; the residue then tells.
    CopiedOperand operand_of(const void* data) const {
        const Word* line = static_cast<const Word*>(data);
        return {std::min(line[0], convolution_words()), line + 8};
    }
    static RingResidue* ring_of(ProductRest* rest) { return rest == nullptr ? nullptr : &rest->ring; }
};

class BasecaseKaratsuba final : public MultiplyAlgorithm {
  public:
    bool folds_within_a_word() const override { return true; }
    MultiplySizes sizes(u64 words) const override {
        check(words, "BasecaseKaratsuba::sizes()");
        MultiplySizes sizes;
        sizes.output = karatsuba_sizes(64 * words).output_bytes;
        const BasecaseTransform transform(words);
        sizes.transform_data = transform.data_bytes();
        sizes.transform_scratch = transform.scratch_bytes();
        sizes.scratch = product_memory(words);
        return sizes;
    }

    void make_transform(TransformHolder& holder, u64 words, const MultiplyContext&) const override {
        check(words, "BasecaseKaratsuba::make_transform()");
        holder.emplace<BasecaseTransform>(words);
    }

    u64 sqr(const MultiplyContext& context, Word* T, const Word* A, u64 L, u64 carried) const override {
        return check_product({context.parallel, kName, "square", 2 * L}, T, 0, 2 * L, A, L, A, L,
                             [&](RingResidue*) { square(context.parallel, T, A, L, context.scratch); },
                             {carried, carried});
    }
    u64 mul(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B, u64 LB,
            Carried carried) const override {
        return check_product(
            {context.parallel, kName, "product", LA + LB}, T, 0, LA + LB, A, LA, B, LB,
            [&](RingResidue*) { multiply(context.parallel, T, A, LA, B, LB, context.scratch); }, carried);
    }

    u64 sqr_skip(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 L,
                 u64 carried) const override {
        return check_product({context.parallel, kName, "square", total - skip}, T, skip, total, A, L, A, L,
                             [&](RingResidue* rest) {
                                 square_window(context.parallel, T, skip, total, A, L, context.scratch, rest);
                             },
                             {carried, carried});
    }
    u64 mul_skip(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                 const Word* B, u64 LB, Carried carried) const override {
        return check_product(
            {context.parallel, kName, "product", total - skip}, T, skip, total, A, LA, B, LB,
            [&](RingResidue* rest) {
                multiply_window(context.parallel, T, skip, total, A, LA, B, LB, context.scratch, rest);
            },
            carried);
    }
    // A transform would only copy the operands.
    int mul_skip_transform(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A,
                           u64 LA, const Word* B, u64 LB, Carried carried, u64* residue) const override {
        const u64 r = mul_skip(context, T, skip, total, A, LA, B, LB, carried);
        if (residue != nullptr) *residue = r;
        return 0;
    }

  private:
    static void check(u64 words, const char* function) {
        if (64 * words > kBasecaseKaratsubaMaxBits) {
            throw LimitExceededException(function, "", kBasecaseKaratsubaMaxBits, 64 * words);
        }
    }
};

}  // namespace

const MultiplyAlgorithm& basecase_karatsuba_algorithm() {
    static const BasecaseKaratsuba algorithm;
    return algorithm;
}

}  // namespace trel
