// The partitioned recursion in memory: a series as blocks, summed from the last to the first and folded into
// an accumulator, for any family of series (block.h).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/console/format.h"
#include "constants/bsr/block.h"
#include "constants/bsr/verify_bsr.h"

namespace kalvor::BinarySplitting {

// Words of memory as the plan of a whole series lays them out, from the front of the working memory:
//
//   [accumulators of even blocks][of odd blocks][results of one block][work of a block or of a fold]
//
// Block 0 is the head of the sum, so its accumulator, the result, stands at the front.
template <class F>
class PSR_SeriesB {
  public:
    using Series = typename F::Series;

    // block_limit_words: the precision, or less for less memory. The series outlives the plan.
    PSR_SeriesB(const Series& series, u64 block_limit_words, u64 tds)
        : PSR_SeriesB(series, plan_equilibrium(series, block_limit_words, tds), tds) {}

    PSR_SeriesB(const Series& series, PsrBlocks blocks, u64 tds) : series_(series) {
        plans_.reserve(blocks.size());
        for (const PsrBlock& block : blocks) {
            const bool last = block.b == series.terms();
            // Exact where the numbers are no longer than the precision that their place needs.
            const bool exact = block.precision_start >= series.plan_words(block.a, block.b);
            plans_.emplace_back(series, block, last, exact, tds);
        }
        for (std::size_t i = 0; i < plans_.size(); i++) {
            u64& area = area_words_[i % 2];
            area = std::max(area, total_words(accumulator_capacities(i)));
            const BSR_BlockB<F>& plan = plans_[i];
            // The block's work is over when it is folded.
            for (const BlockNeeds& needs : {plan.needs(), fold_needs(i)}) {
                const u64 words = total_words(plan.capacities()) + needs.work_words;
                rest_bytes_ = std::max(rest_bytes_, words * sizeof(Word) + needs.scratch_bytes);
                product_words_ = std::max(product_words_, needs.product_words);
            }
        }
    }

    std::size_t blocks() const { return plans_.size(); }
    const BSR_BlockB<F>& block(std::size_t i) const { return plans_[i]; }
    u64 max_product_words() const { return product_words_; }
    // Of the accumulator at the front, which holds the result, and in all.
    u64 result_bytes() const { return area_words_[0] * sizeof(Word); }
    u64 working_bytes() const { return (area_words_[0] + area_words_[1]) * sizeof(Word) + rest_bytes_; }

    // Size of the final denominator by the precision.
    double expansion_factor() const {
        return words_of(series_.log_size_dd(0, series_.terms()).high) /
               static_cast<double>(series_.precision());
    }
    std::string banner() const {
        return std::string(F::kBanner) + trel::Console::format_commas(series_.terms()) +
               " terms  (Expansion Factor = " + trel::Console::format_fixed(expansion_factor(), 3) + ")";
    }

    // Sums the series; the numbers (without the link) stand at the front of context.scratch, which holds
    // working_bytes().
    FloatRange<F> run(const MultiplyContext& context, Status& status) const {
        AlignedBufferC memory = context.scratch;
        AlignedBufferC areas[2] = {memory.spawn_words(area_words_[0]), memory.spawn_words(area_words_[1])};
        FloatRange<F> accumulator{};
        for (std::size_t i = plans_.size(); i-- > 0;) {
            const BSR_BlockB<F>& plan = plans_[i];
            const std::string kind = plan.exact() ? "E" : "A";
            const u64 percent = (series_.terms() - plan.block().b) * 100 / series_.terms();
            StatusFrame number(
                status, "Series: " + kind + " " + std::to_string(i) + "  " + std::to_string(percent) + " %");
            StatusFrame frame(number.node(), " " + kind + " ");
            run_block(context.with_scratch(memory), frame.node(), i, areas[i % 2], accumulator);
        }
        return accumulator;
    }

  private:
    bool last(std::size_t i) const { return i + 1 == plans_.size(); }

    Capacities<F> accumulator_capacities(std::size_t i) const {
        Capacities<F> words;
        words.fill(F::float_words(plans_[i].block().working_precision()));
        if (F::kLastIsLink) words.back() = 0;
        return words;
    }
    BlockNeeds fold_needs(std::size_t i) const {
        if (last(i)) return {};
        BlockNeeds needs =
            product_needs(F::merge_products(plans_[i].capacities(), accumulator_capacities(i + 1)));
        needs.work_words = F::float_words(plans_[i].block().working_precision());
        return needs;
    }

    // Sums block i and folds it: the accumulator becomes the sum from the block's start on.
    void run_block(const MultiplyContext& context, Status& status, std::size_t i, AlignedBufferC area,
                   FloatRange<F>& accumulator) const {
        const BSR_BlockB<F>& plan = plans_[i];
        const PsrBlock& block = plan.block();
        AlignedBufferC memory = context.scratch;
        FloatRange<F> results;
        if (plan.exact()) {
            ExactRange<F> exact = carve<ExactFloat>(memory, plan.capacities());
            AlignedBufferC rest = memory;
            const AlignedBufferC work = rest.spawn_words(plan.needs().work_words);
            plan.run(context.with_scratch(rest), status, exact, work);
            kvb_Verify_BSR(block.a, block.b, exact, context.parallel);
            for (std::size_t j = 0; j < F::kNumbers; j++) results[j] = as_float(exact[j]);
        } else {
            results = carve<BigFloat>(memory, plan.capacities());
            AlignedBufferC rest = memory;
            const AlignedBufferC work = rest.spawn_words(plan.needs().work_words);
            plan.run(context.with_scratch(rest), status, results, work);
        }
        FloatRange<F> folded = carve<BigFloat>(area, accumulator_capacities(i));
        const u64 precision = block.working_precision();
        if (last(i)) {
            for (std::size_t j = 0; j + (F::kLastIsLink ? 1 : 0) < F::kNumbers; j++) {
                folded[j].set_BigFloat(precision, context.parallel, results[j]);
            }
        } else {
            StatusFrame frame(status, "-  ", trel::status_digits(precision));
            frame.node().refresh();
            const AlignedBufferC work = memory.spawn_words(fold_needs(i).work_words);
            F::merge_float(context.with_scratch(memory),
                           series_.alternating() && (block.b - block.a) % 2 != 0, results, accumulator,
                           folded, precision, precision, true, work);
        }
        accumulator = folded;
    }

    const Series& series_;
    std::vector<BSR_BlockB<F>> plans_;
    u64 area_words_[2] = {0, 0};
    u64 rest_bytes_ = 0;
    u64 product_words_ = 0;
};

}  // namespace kalvor::BinarySplitting
