#include "arith/multiply/dispatch.h"

#include <algorithm>
#include <string>
#include <utility>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/multiply_algorithm.h"

namespace trel {
namespace {

// An operand, and what it carries.
struct Factor {
    const Word* words;
    u64 L;
    u64 carried;

    // Without its lowest `low` words and what is above `most`. The words that go are read: the residue of the
    // others follows.
    Factor cut(const ParallelContext& parallel, u64 low, u64 most) const {
        Factor f{words + low, std::min(L - low, most), carried};
        if (carried == goldilocks::kNone || f.L == L) return f;
        const u64 end = low + f.L;
        f.carried = goldilocks::sub(carried, goldilocks::of_words(parallel, words, low));
        f.carried = goldilocks::sub(
            f.carried, goldilocks::of_words(parallel, words + end, L - end, static_cast<i64>(end)));
        f.carried = goldilocks::times_words(f.carried, -static_cast<i64>(low));
        return f;
    }
};

// Words skip .. total - 1 of A * B, cut to what can reach them; A is the longer operand.
struct CutProduct {
    u64 skip, total;
    Factor A, B;

    u64 size() const { return A.L + B.L; }
    Carried carried() const { return {A.carried, B.carried}; }
};

// A word at index i of one operand reaches the product words i .. i + (length of the other). So with skip >
// LB the lowest skip - LB words of A matter to the kept words by their carry only, which is below one unit of
// the lowest kept word for each of the two operands. Words at and above `total` matter not at all.
CutProduct cut(const ParallelContext& parallel, u64 skip, u64 total, Factor A, Factor B) {
    if (A.L < B.L) std::swap(A, B);
    const u64 low_a = skip > B.L ? skip - B.L : 0, low_b = skip > A.L ? skip - A.L : 0;
    skip -= low_a + low_b;
    total -= low_a + low_b;
    return {skip, total, A.cut(parallel, low_a, total), B.cut(parallel, low_b, total)};
}

// product(algorithm) with the next algorithm below `failed`. In the handler of what that has thrown, which
// goes on where there is none.
template <class Product>
auto by_lower(const MultiplyContext& context, const MultiplyAlgorithm& failed, const std::string& name,
              const char* operation, u64 words, Product&& product) {
    const MultiplyAlgorithm* const lower = basic_table64().below(failed, words, context.scratch.size());
    if (lower == nullptr) throw;
    const auto result = product(*lower);
    const std::string by = "an algorithm below " + name;
    product_was_corrected({context.parallel, by.c_str(), operation, words});
    return result;
}

// product(algorithm) with the algorithm of that size, or else with the next lower one.
template <class Product>
auto with_lower(const MultiplyContext& context, const char* operation, u64 words, Product&& product) {
    const MultiplyAlgorithm& algorithm = basic_table64().get_algorithm(words);
    return or_else([&] { return product(algorithm); },
                   [&](const ConvolutionFailedException& error) {
                       return by_lower(context, algorithm, error.function, operation, words, product);
                   });
}

}  // namespace

u64 multiply_below(const MultiplyContext& context, const Transform& failed, Word* T, u64 skip, u64 total,
                   const TransformOperands& of) {
    const AlgorithmEntry* const entry = find_algorithm(TableSlot::basic64, failed.name());
    const u64 n = of.LA + of.LB, end = std::min(total, n);
    // What nothing compares is repeated as a part of something larger.
    if (!of.are_there() || entry == nullptr || skip >= end || !failed.is_checked(context.parallel)) throw;
    const bool square = of.A == of.B && of.LA == of.LB;
    const u64 residue = by_lower(
        context, *entry->algorithm, failed.name(), square ? "square" : "product", n,
        [&](const MultiplyAlgorithm& lower) {
            return square ? lower.sqr_skip(context, T, skip, end, of.A, of.LA, of.carried.a)
                          : lower.mul_skip(context, T, skip, end, of.A, of.LA, of.B, of.LB, of.carried);
        });
    std::fill(T + (end - skip), T + (total - skip), 0);
    return residue;
}

u64 multiply_full(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B, u64 LB,
                  Carried carried) {
    context.parallel.poll();
    return with_lower(context, "product", LA + LB, [&](const MultiplyAlgorithm& algorithm) {
        return A == B && LA == LB ? algorithm.sqr(context, T, A, LA, carried.a)
                                  : algorithm.mul(context, T, A, LA, B, LB, carried);
    });
}

u64 square_truncated(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 L,
                     u64 carried) {
    if (skip >= total) return 0;
    context.parallel.poll();
    const u64 low = skip > L ? skip - L : 0;
    skip -= 2 * low;
    total -= 2 * low;
    const Factor a = Factor{A, L, carried}.cut(context.parallel, low, total);
    return with_lower(context, "square", 2 * a.L, [&](const MultiplyAlgorithm& algorithm) {
        return algorithm.sqr_skip(context, T, skip, total, a.words, a.L, a.carried);
    });
}

u64 multiply_truncated(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                       const Word* B, u64 LB, Carried carried) {
    if (skip >= total) return 0;
    if (A == B && LA == LB) return square_truncated(context, T, skip, total, A, LA, carried.a);
    context.parallel.poll();
    const CutProduct c = cut(context.parallel, skip, total, {A, LA, carried.a}, {B, LB, carried.b});
    return with_lower(context, "product", c.size(), [&](const MultiplyAlgorithm& algorithm) {
        return algorithm.mul_skip(context, T, c.skip, c.total, c.A.words, c.A.L, c.B.words, c.B.L,
                                  c.carried());
    });
}

int multiply_truncated_small(const MultiplyContext& context, Word* T, u64 skip, u64 total, const Word* A,
                             u64 LA, const Word* B, u64 LB, Carried carried, u64* residue) {
    if (skip >= total) {
        if (residue != nullptr) *residue = 0;
        return 0;
    }
    context.parallel.poll();
    const CutProduct c = cut(context.parallel, skip, total, {A, LA, carried.a}, {B, LB, carried.b});
    return with_lower(context, "product", c.size(), [&](const MultiplyAlgorithm& algorithm) {
        return algorithm.mul_skip_transform(context, T, c.skip, c.total, c.A.words, c.A.L, c.B.words, c.B.L,
                                            c.carried(), residue);
    });
}

void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context, Wraps wraps) {
    context.parallel.poll();
    const MultiplyAlgorithm& algorithm = basic_table64().get_algorithm(words);
    // Where nothing is checked any ring will do.
    const bool checked = !context.parallel.inner_unchecked || words > kShortProductWords;
    const u64 asked = wraps == Wraps::may && checked ? algorithm.wrapped_words(words) : words;
    algorithm.make_transform(holder, asked, context);
}

u64 multiply_scratch_bytes(u64 words) {
    return basic_table64().mSBsize(words);
}

}  // namespace trel
