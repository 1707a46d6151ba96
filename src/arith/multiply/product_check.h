// The check that every product of a transform passes: its words against the residues of its operands. And
// what follows when they differ.
#pragma once

#include <string>

#include "arith/multiply/floating_point_control.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/odd_residue.h"
#include "arith/residue/goldilocks.h"
#include "arith/residue/ring_residue.h"
#include "base/errors/exceptions.h"

namespace trel {

// What is known of an operand. It stays beside a kept transform (OperandLabel).
struct OperandResidue {
    u64 length = 0;                // words
    bool formed = false;           // ring and odd are known
    const Word* source = nullptr;  // the words, where they stay as they are
    u64 fold = goldilocks::kNone;  // modulo 2^64 - 2^32 + 1
    u64 odd = 0;                   // where the ring needs an odd modulus
    u64 m61 = 0;                   // modulo 2^61 - 1, where the transform needs it
    RingResidue ring;
    u64 seal = 0;  // of all the above

    u64 sealed() const;
    bool is_whole() const { return seal == sealed(); }
};

// The same at the end of the data of a transform: twice, so that damage to one of them does no harm.
namespace operand_label {
constexpr u64 bytes(u32 period) {
    return 2 * round_up_64((5 + period) * sizeof(Word));
}
void write(void* place, const OperandResidue& r);
// A damaged copy is written anew from the other one, and healed is set; of several threads that do so at the
// same time, for one. Two damaged ones: not is_whole().
OperandResidue read(const void* place, u32 period, bool& healed);
}  // namespace operand_label

// What a transform leaves out of the words that it hands out: modulo the ring it belongs to the product.
struct ProductRest {
    RingResidue ring;
    i64 above = 0;  // units of 2^(64 W), where the ring needs an odd modulus
};

// What the operands of a product carry: residues of whole numbers (goldilocks.h), goldilocks::kNone where
// they are not known.
struct Carried {
    u64 a = goldilocks::kNone, b = goldilocks::kNone;
};

// One product under check.
struct CheckedProduct {
    const ParallelContext& parallel;
    const char* algorithm;
    const char* operation;
    u64 words;  // of the product that are wanted
};

// An operand that is damaged; no repetition would help.
class OperandDamaged final : public ConvolutionFailedException {
  public:
    using ConvolutionFailedException::ConvolutionFailedException;
};

[[noreturn]] void product_is_wrong(const CheckedProduct& product, u64 right, u64 found);
[[noreturn]] void operand_is_damaged(const CheckedProduct& product, u64 before, u64 now);
// A number at rest does not fit the residue that it carries: AlgorithmFailedException "A number was damaged
// in memory: <name>, <words> words." with both.
[[noreturn]] void number_is_damaged(const char* operation, const char* name, u64 words, u64 carried,
                                    u64 found);
// An operation that was wrong came out right when it was done again: a warning of the run. The one that makes
// kMaxCorrected of them ends the run.
// `found`: what was wrong with it, for the event log.
inline constexpr u64 kMaxCorrected = 3;
void operation_was_corrected(const ParallelContext& parallel, const char* function,
                             const std::string& operation, const std::string& found = "");
// True while the run may still repeat an operation: fewer than kMaxCorrected corrections so far.
bool may_correct(const ParallelContext& parallel);
// The words of an operand against the residue that they carry (goldilocks::kNone: nothing is compared) and
// its value as just formed. True: the words fit but were misread, so what was formed must be formed again.
// Words that do not fit are refused.
bool operand_was_misread(const CheckedProduct& product, const Word* words, u64 n, u64 carried, u64 formed);
bool operand_was_misread(const CheckedProduct& product, const Word* words, u64 n, u64 carried);
// The same of a product: what was wrong came out right when it was done again, or was known twice.
void product_was_corrected(const CheckedProduct& product);

// The residue of T[0..n), a product that nothing checks. whole: T is the whole product, so its residue
// follows from those of the operands where they are known.
inline u64 unchecked_residue(const ParallelContext& parallel, const Word* T, u64 n, bool whole,
                             Carried carried) {
    if (whole && carried.a != goldilocks::kNone && carried.b != goldilocks::kNone) {
        return goldilocks::mul(carried.a, carried.b);
    }
    return goldilocks::of_words(parallel, T, n);
}

// A product that forms every word itself, without a ring: T[0..total - skip) = words skip .. total - 1 of A
// B; A == B squares. run(rest) does it, and adds to *rest the words that it leaves out; nullptr: nothing is
// asked. Returns the residue of T[0..total - skip) modulo 2^64 - 2^32 + 1; those of A and B are compared
// where they are given.
template <class Run>
u64 check_product(const CheckedProduct& product, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                  const Word* B, u64 LB, Run&& run, Carried carried = {}) {
    const ParallelContext& parallel = product.parallel;
    if (parallel.inner_unchecked && LA + LB <= kShortProductWords) {
        run(nullptr);
        return goldilocks::kNone;
    }
    const auto residue_of = [&](const Word* words, u64 n, u64 carried) {
        RingResidue r;
        r.add(parallel, words, n, 0);
        if (!operand_was_misread(product, words, n, carried, r.goldilocks())) return r;
        RingResidue again;
        again.add(parallel, words, n, 0);
        return again;
    };
    const bool square = A == B && LA == LB;
    RingResidue a = residue_of(A, LA, carried.a);
    RingResidue b = square ? a : residue_of(B, LB, carried.b);
    const u64 folds[2] = {a.goldilocks(), b.goldilocks()};
    parallel.stage("residue", &a.w, a.p * sizeof(Word));
    parallel.stage("operand", A, LA * sizeof(Word));
    for (u32 attempt = 0;; attempt++) {
        RingResidue right = a.times(b);
        parallel.stage("right", &right.w, right.p * sizeof(Word));
        RingResidue found;
        bool failed = false;
        try {
            run(&found);
        } catch (const WronglyRounded&) {
            throw;
        } catch (const ConvolutionFailedException&) {
            // The algorithm's own check has found the error first.
            if (attempt != 0) throw;
            failed = true;
        }
        parallel.stage("product", T, (total - skip) * sizeof(Word));
        RingResidue window;
        window.add(parallel, T, total - skip, 0);
        found.add(window.rotated(64 * skip));
        if (parallel.run != nullptr) parallel.run->checks.products.fetch_add(1, std::memory_order_relaxed);
        if (!failed && found.equals(right)) {
            if (attempt != 0) product_was_corrected(product);
            return window.goldilocks();
        }
        if (!failed && found.equals(a.times(b))) {
            // It was the other side of the comparison that changed.
            product_was_corrected(product);
            return window.goldilocks();
        }
        if (attempt != 0) product_is_wrong(product, right.digest(), found.digest());
        // What was kept may be damaged instead: two of three decide.
        const auto look_at = [&](const Word* words, u64 n, RingResidue& before, u64 fold) {
            RingResidue now;
            now.add(parallel, words, n, 0);
            if (now.equals(before)) return;
            if (now.goldilocks() != fold) operand_is_damaged(product, before.digest(), now.digest());
            before = now;
        };
        look_at(A, LA, a, folds[0]);
        if (square) {
            b = a;
        } else {
            look_at(B, LB, b, folds[1]);
        }
    }
}

}  // namespace trel
