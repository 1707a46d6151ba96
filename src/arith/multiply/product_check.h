// The check that every product of a transform passes: its words against the residues of its operands. And
// what follows when they differ.
#pragma once

#include <string>

#include "arith/multiply/multiply_context.h"
#include "arith/multiply/odd_residue.h"
#include "arith/residue/ring_residue.h"

namespace trel {

// What is known of an operand; it stays beside a kept transform.
struct OperandResidue {
    u64 length = 0;  // words
    RingResidue ring;
    u64 odd = 0;  // where the ring needs an odd modulus
};

// What a transform leaves out of the words that it hands out: modulo the ring it belongs to the product.
struct ProductRest {
    RingResidue ring;
    i64 above = 0;  // units of 2^(64 W), where the ring needs an odd modulus
};

// One product under check.
struct CheckedProduct {
    const ParallelContext& parallel;
    const char* algorithm;
    const char* operation;
    u64 words;  // of the product that are wanted
};

[[noreturn]] void product_is_wrong(const CheckedProduct& product, u64 right, u64 found);
[[noreturn]] void operand_is_damaged(const CheckedProduct& product, u64 before, u64 now);
// A number at rest does not fit the residue that it carries: AlgorithmFailedException "A number was damaged
// in memory: <name>, <words> words." with both.
[[noreturn]] void number_is_damaged(const char* operation, const char* name, u64 words, u64 carried,
                                    u64 found);
// A product that was wrong came out right when it was done again: a warning of the run. The third one ends
// the run.
void product_was_corrected(const CheckedProduct& product);
// The same for any operation: its name and its size.
void error_was_corrected(const ParallelContext& parallel, const char* function, const std::string& operation);

// A product that forms every word itself, without a ring: T[0..total - skip) = words skip .. total - 1 of A
// B. run(rest) does it, and adds to rest the words that it leaves out. B == nullptr: the square.
template <class Run>
void check_product(const CheckedProduct& product, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                   const Word* B, u64 LB, Run&& run) {
    const ParallelContext& parallel = product.parallel;
    RingResidue a, b;
    const bool square = A == B && LA == LB;
    a.add(parallel, A, LA, 0);
    if (!square) b.add(parallel, B, LB, 0);
    const RingResidue right = a.times(square ? a : b);
    parallel.stage("operand", A, LA * sizeof(Word));
    for (u32 attempt = 0;; attempt++) {
        RingResidue found;
        run(found);
        parallel.stage("product", T, (total - skip) * sizeof(Word));
        found.add(parallel, T, total - skip, skip);
        if (parallel.run != nullptr) parallel.run->checks.products.fetch_add(1, std::memory_order_relaxed);
        if (found.equals(right)) {
            if (attempt != 0) product_was_corrected(product);
            return;
        }
        if (attempt != 0) product_is_wrong(product, right.digest(), found.digest());
        const auto look_at = [&](const Word* words, u64 n, const RingResidue& before) {
            RingResidue now;
            now.add(parallel, words, n, 0);
            if (!now.equals(before)) operand_is_damaged(product, before.digest(), now.digest());
        };
        look_at(A, LA, a);
        if (!square) look_at(B, LB, b);
    }
}

}  // namespace trel
