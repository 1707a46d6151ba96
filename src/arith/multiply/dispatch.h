// The entries through which every large product goes: they cut what cannot reach the result, choose an
// algorithm by size and run it. 64-bit words; T overlaps no operand; context.scratch holds mSBsize(product
// words). Each polls the run's stop flag first and may throw RunStopped.
//
// All return the residue modulo 2^64 - 2^32 + 1 of the words that they write, and compare those that the
// operands carry, of all their words, with what they read. Short products in an operation that checks itself
// (ParallelContext::inner_unchecked) do neither and return goldilocks::kNone. A product that is wrong twice
// is done by the next lower algorithm that the scratch memory allows.
#pragma once

#include "arith/multiply/floating_point_control.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/product_check.h"
#include "arith/multiply/transform.h"
#include "base/errors/exceptions.h"
#include "os/types.h"

namespace trel {

// T[0..LA+LB) = A * B, exact. A == B and LA == LB squares.
u64 multiply_full(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B, u64 LB,
                  Carried carried = {});
// T[0..total - skip) = words skip .. total - 1 of A^2 / A * B. With skip > 0 the lowest word may be up to 2
// units low.
u64 square_truncated(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 L,
                     u64 carried = goldilocks::kNone);
u64 multiply_truncated(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                       const Word* B, u64 LB, Carried carried = {});
// The same cuts through the algorithm's windowed transform product; returns its status word. residue:
// nullptr, or where that of T goes.
int multiply_truncated_small(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A,
                             u64 LA, const Word* B, u64 LB, Carried carried = {}, u64* residue = nullptr);
// A transform for a product of `words` words. Wraps::may: products may be longer than the convolution.
enum class Wraps { never, may };
void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context,
                    Wraps wraps = Wraps::may);

// The words of which a transform makes a product. nullptr: they have gone since.
struct TransformOperands {
    const Word* A = nullptr;
    u64 LA = 0;
    const Word* B = nullptr;
    u64 LB = 0;
    Carried carried;

    bool are_there() const { return A != nullptr && B != nullptr; }
};

// product(), or otherwise(error) where an algorithm has done it wrong twice. Damaged operands and wrong
// rounding are nothing that another algorithm would mend.
template <class Product, class Otherwise>
auto or_else(Product&& product, Otherwise&& otherwise) {
    try {
        return product();
    } catch (const WronglyRounded&) {
        throw;
    } catch (const OperandDamaged&) {
        throw;
    } catch (const ConvolutionFailedException& error) {
        return otherwise(error);
    }
}

// T[0..total - skip) = words skip .. total - 1 of A B, or of A^2 (A == B and LA == LB), which the transform
// has done wrong twice: from their words, by the next lower algorithm that the scratch memory has room for.
// Nothing folds, whatever the transform does. In the handler of the transform's exception, which goes on
// where the words are gone or there is no such algorithm.
u64 multiply_below(const MultiplyContext& context, const Transform& failed, Word* T, u64 skip, u64 total,
                   const TransformOperands& of);

// Scratch bytes of the truncated and full entries for a product of `words` words.
u64 multiply_scratch_bytes(u64 words);

}  // namespace trel
