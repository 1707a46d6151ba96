// One multiplication algorithm: sizes, transforms, and whole products built on them.
#pragma once

#include <memory>

#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"
#include "arith/multiply/transform.h"
#include "os/types.h"

namespace trel {

// Bytes, each a multiple of 64, for a product of a given size.
struct MultiplySizes {
    u64 output = 0;             // the product's words
    u64 scratch = 0;            // a whole product (a transform's whole_bytes(), or Karatsuba's)
    u64 transform_data = 0;     // one forward transform
    u64 transform_scratch = 0;  // scratch of forward() and inverse()

    void take_maximum(const MultiplySizes& other);
    // What products of `words` words take: whole ones, and those with a forward transform that is held
    // already.
    Needs whole_product(u64 words) const { return {0, round_up_64(scratch), words}; }
    Needs held_product(u64 words) const { return {0, transform_data + transform_scratch, words}; }
    // A forward transform that stands in front of the scratch.
    u64 transform_words() const { return transform_data / sizeof(Word); }
    // What products of `words` words through a transform need.
    static MultiplySizes of(const Transform& transform, u64 words);
};

// Read-only data that all transforms of one algorithm share (twiddle factors). Lives in memory of the owner.
class SharedTables {
  public:
    virtual ~SharedTables();
};

// Sizes of numbers in words, T overlaps no operand. Thread-safe: an algorithm object holds no state.
class MultiplyAlgorithm {
  public:
    virtual ~MultiplyAlgorithm();
    // For a product of `words` words.
    virtual MultiplySizes sizes(u64 words) const = 0;
    // A transform for a product of `words` words, with the shared tables of the context; tables of its own
    // when the context has none.
    virtual void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const = 0;
    // T[0..2L) = A^2, T[0..LA+LB) = A B. All products return the residue of the words that they write, and
    // compare those of the operands where they are known, as Transform does.
    virtual u64 sqr(const MultiplyContext& context, Word* T, const Word* A, u64 L,
                    u64 carried = goldilocks::kNone) const;
    virtual u64 mul(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B, u64 LB,
                    Carried carried = {}) const;
    // T[0..total - skip) = words skip .. total - 1 of the product
    virtual u64 sqr_skip(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 L,
                         u64 carried = goldilocks::kNone) const;
    virtual u64 mul_skip(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                         const Word* B, u64 LB, Carried carried = {}) const;
    u64 mSBsize(u64 words) const { return sizes(words).scratch; }
    // As mul_skip(), always through a transform; returns 0. residue: nullptr, or where that of T goes.
    virtual int mul_skip_transform(const MultiplyContext& context, Word* T, u64 skip, u64 total,
                                   const Word* A, u64 LA, const Word* B, u64 LB, Carried carried = {},
                                   u64* residue = nullptr) const;

    // The words to ask make_transform() for when products are to wrap around it: `words`, or more where that
    // ring has no divisor by which a product could be checked.
    virtual u64 wrapped_words(u64 words) const { return words; }

    // Whether the carry that a transform may drop out of its top point reaches no further than the lowest
    // word of what folds, so that a window of a folded product that begins one word higher is right to a few
    // units of its lowest word. False where carries are a point long, or when nothing is known.
    virtual bool folds_within_a_word() const { return false; }

    // Shared tables for products of up to `words` words: their bytes (0: none needed), and their making in
    // memory of the caller.
    virtual u64 table_bytes(u64 words) const;
    virtual std::unique_ptr<SharedTables> make_tables(u64 words, AlignedBufferC memory,
                                                      const ParallelContext& parallel) const;
};

}  // namespace trel
