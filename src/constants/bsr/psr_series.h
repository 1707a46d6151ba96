// The partitioned recursion in memory: a series as blocks, summed from the last to the first and folded into
// an accumulator, for any family of series (family.h).
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/console/format.h"
#include "base/names/names.h"
#include "constants/bsr/block_run.h"
#include "constants/bsr/verify_bsr.h"

namespace kalvor::BinarySplitting {

// Memory as the plan of a whole series lays it out. A fold reads the accumulator of the block behind it and
// writes its own, so that even and odd blocks take turns:
//
//   lent by the caller      working memory, from the front
//   +-------------------+   +--------------+--------------+--------------+----------------------------------+
//   | even blocks:      |   | even blocks: | odd blocks:  | results of   | stack of the block that runs, or |
//   | number 0 (P)      |   | Q            | P, Q         | one block    | of the fold that follows it      |
//   +-------------------+   +--------------+--------------+--------------+----------------------------------+
//
// (The link, R, is not needed in an accumulator.) Block 0 is folded last, so the result is an even block's
// accumulator. Its number 0 stands in words that the caller lends, because it has them: the buffer of the
// value that will be made of the sum is idle until then. The other numbers stand at the front.
template <SeriesFamily F>
class PSR_SeriesB {
  public:
    using Series = typename F::Series;

    // block_limit_words: the precision, or less for less memory. The series outlives the plan. floor_bytes:
    // what the caller takes in any case, so that needs() up to it cost nothing.
    PSR_SeriesB(const Series& series, u64 block_limit_words, u64 tds, u64 floor_bytes = 0)
        : PSR_SeriesB(series, plan_series(series, block_limit_words, tds), tds, floor_bytes) {}

    PSR_SeriesB(const Series& series, PsrPlan plan, u64 tds, u64 floor_bytes = 0)
        : series_(series), blocks_(std::move(plan.blocks)), remarks_(std::move(plan.remarks)), tds_(tds) {
        for (std::size_t i = 0; i < blocks_.size(); i++) {
            Capacities<F> words = accumulator_capacities(i);
            if (i % 2 == 0) {
                needs_.result_words = std::max(needs_.result_words, words[0]);
                words[0] = 0;
            }
            area_words_[i % 2] = std::max(area_words_[i % 2], total_words(words));
        }
        // What the folds need with products done one by one is the least that the series can do with; the
        // blocks, and folds that keep transforms, may take as much.
        const u64 areas = area_words_[0] + area_words_[1];
        floor_ = room_above(floor_bytes, areas);
        for (std::size_t i = 0; i < blocks_.size(); i++) {
            const Sample sample = sample_of(i);
            if (sample == Sample::none) continue;
            const BSR_BlockB<F> plan(series, blocks_[i], last(i), blocks_[i].exact, answers(sample));
            const Capacities<F>& words = plan.capacities();
            floor_ = std::max(floor_, fold_needs(i, words, 0).above(total_words(words)).bytes);
        }
        for (std::size_t i = 0; i < blocks_.size(); i++) {
            const Sample sample = sample_of(i);
            if (sample == Sample::none) continue;
            const Capacities<F> words = sizes(i).capacities();
            const u64 room = room_above(floor_, total_words(words));
            const BSR_BlockB<F> plan(series, blocks_[i], last(i), blocks_[i].exact, tds, room,
                                     answers(sample));
            // The block's stack is free again when it is folded.
            needs_.take_maximum(plan.needs()
                                    .maximum(fold_needs(i, plan.capacities(), room))
                                    .above(total_words(plan.capacities())));
            if (blocks_.size() <= kPlannedBlocks) plans_.push_back(plan);
        }
        needs_ = needs_.above(areas);
    }

    PSR_SeriesB(const PSR_SeriesB&) = delete;
    PSR_SeriesB& operator=(const PSR_SeriesB&) = delete;

    std::size_t blocks() const { return blocks_.size(); }
    u64 exact_blocks() const {
        return static_cast<u64>(
            std::count_if(blocks_.begin(), blocks_.end(), [](const PsrBlock& block) { return block.exact; }));
    }
    // The plan of one block; made anew where there are very many.
    BSR_BlockB<F> block(std::size_t i) const {
        if (i < plans_.size()) return plans_[i];
        const u64 room = room_above(floor_, total_words(sizes(i).capacities()));
        return BSR_BlockB<F>(series_, blocks_[i], last(i), blocks_[i].exact, tds_, room);
    }
    // The result's words are those that the caller lends for its number 0.
    const Needs& needs() const { return needs_; }
    // Words at the front of the memory that hold the result's other numbers.
    u64 accumulator_words() const { return area_words_[0]; }

    // What a run adds to the meter of its status.
    double work() const {
        double work = 0, alike = 0;
        for (std::size_t i = 0; i < blocks_.size(); i++) {
            // Blocks inside a row of blocks that are alike do as much as its first one.
            if (sample_of(i) != Sample::none) alike = sizes(i).work();
            work += alike + (last(i) ? 0 : fold_work(i));
        }
        return work;
    }
    // Size of the final denominator by the precision.
    double expansion_factor() const {
        return words_of(series_.log_size_dd(series_.first(), series_.terms()).high) /
               static_cast<double>(series_.precision());
    }
    // name: in place of the family's.
    std::string banner(const char* name = F::kBanner) const {
        return name + Console::format_commas(series_.terms()) +
               " terms  (Expansion Factor = " + Console::format_fixed(expansion_factor(), 3) + ")";
    }

    // Sums the series, with the remarks of its plan among the run's warnings; the first number stands in
    // `lent`, the others (without the link) at the front of context.scratch. Both hold needs().
    FloatRange<F> run(const MultiplyContext& context, Status& status, Word* lent) const {
        context.parallel.warn(remarks_);
        AlignedBufferC memory = context.scratch;
        AlignedBufferC areas[2] = {memory.spawn_words(area_words_[0]), memory.spawn_words(area_words_[1])};
        FloatRange<F> accumulator{};
        for (std::size_t i = blocks_.size(); i-- > 0;) {
            const BSR_BlockB<F> plan = block(i);
            const std::string kind = plan.exact() ? "E" : "A";
            const u64 percent = percent_behind(plan.block().b);
            StatusFrame number(
                status, "Series: " + kind + " " + std::to_string(i) + "  " + std::to_string(percent) + " %");
            StatusFrame frame(number.node(), " " + kind + " ");
            run_block(context.with_scratch(memory), frame.node(), i, plan, areas[i % 2], lent, accumulator);
        }
        check_terms(accumulator.terms, series_.first(), series_.terms());
        return accumulator;
    }

  private:
    // Up to this number blocks are planned one by one and kept. Of more, rows of blocks that are alike (they
    // have the same precision, and sizes of the same limit) are planned by their first and last one, with
    // what an inner one may take beyond them.
    static constexpr std::size_t kPlannedBlocks = 64;
    enum class Sample { none, itself, its_like };

    bool last(std::size_t i) const { return i + 1 == blocks_.size(); }
    bool alike(std::size_t i, std::size_t j) const {
        const PsrBlock &x = blocks_[i], &y = blocks_[j];
        return x.precision_start == y.precision_start && x.precision_end == y.precision_end &&
               x.exact == y.exact;
    }
    Sample sample_of(std::size_t i) const {
        if (blocks_.size() <= kPlannedBlocks || i == 0 || last(i)) return Sample::itself;
        const bool before = i > 1 && alike(i - 1, i), behind = !last(i + 1) && alike(i, i + 1);
        return before && behind ? Sample::none : before || behind ? Sample::its_like : Sample::itself;
    }
    static typename BSR_BlockB<F>::Answers answers(Sample sample) {
        return sample == Sample::its_like ? BSR_BlockB<F>::Answers::its_like : BSR_BlockB<F>::Answers::itself;
    }
    BSR_BlockB<F> sizes(std::size_t i) const {
        return BSR_BlockB<F>(series_, blocks_[i], last(i), blocks_[i].exact);
    }
    u64 percent_behind(u64 b) const {
        const u64 N = series_.terms();
        return static_cast<u64>(u128(N - b) * 100 / (N - series_.first()));
    }

    Capacities<F> accumulator_capacities(std::size_t i) const {
        Capacities<F> words;
        words.fill(F::float_words(blocks_[i].working_precision()));
        if (F::kLink < F::kNumbers) words[F::kLink] = 0;
        return words;
    }
    double fold_work(std::size_t i) const { return float_merge_work(blocks_[i].working_precision()); }
    Needs fold_needs(std::size_t i, const Capacities<F>& words, u64 room) const {
        if (last(i)) return {};
        return F::float_needs({words, accumulator_capacities(i + 1), accumulator_capacities(i), room},
                              blocks_[i].working_precision());
    }

    // Sums block i and folds it: the accumulator becomes the sum from the block's start on. The accumulator
    // has waited meanwhile: its words are compared before they are used again. (It cannot be formed again.)
    void run_block(const MultiplyContext& context, Status& status, std::size_t i, const BSR_BlockB<F>& plan,
                   AlignedBufferC area, Word* lent, FloatRange<F>& accumulator) const {
        const PsrBlock& block = plan.block();
        MultiplyContext inner = context;
        FloatRange<F> results;
        ExactRange<F> exact;
        if (plan.exact()) {
            exact = carve_range<ExactFloat>(inner.scratch, plan.capacities());
        } else {
            results = carve_range<BigFloat>(inner.scratch, plan.capacities());
        }
        const auto sum = [&](Status& to) {
            if (plan.exact()) {
                BlockRun<F>(plan).run(inner, to, exact);
                for (std::size_t j = 0; j < F::kNumbers; j++) results[j] = as_float(exact[j]);
                results.terms = exact.terms;
            } else {
                for (BigFloat& A : results) A = BigFloat(A.buffer, A.buffer_size);
                BlockRun<F>(plan).run(inner, to, results);
            }
        };
        sum(status);
        leave_waiting(context.parallel, results, "block");
        Capacities<F> words = accumulator_capacities(i);
        const u64 first = words[0];
        if (i % 2 == 0) words[0] = 0;
        FloatRange<F> folded = carve_range<BigFloat>(area, words);
        if (i % 2 == 0) folded[0] = BigFloat(lent, first);
        const u64 precision = block.working_precision();
        if (!last(i)) verify_waiting(context.parallel, accumulator, "sum", block.b, series_.terms());
        const auto fold = [&] {
            const auto verify = [&] { verify_waiting(context.parallel, results, "block", block.a, block.b); };
            // Products compare their operands; a copy is right when the words still are behind it.
            if (!last(i)) verify();
            check_terms(results.terms, block.a, block.b);
            folded.terms =
                last(i) ? results.terms : joined(context.parallel, results.terms, accumulator.terms);
            leave_waiting(context.parallel, results, "fold");
            for (BigFloat& A : folded) A = BigFloat(A.buffer, A.buffer_size);
            if (last(i)) {
                for (std::size_t j = 0; j < F::kNumbers; j++) {
                    if (j != F::kLink) folded[j].set_BigFloat(precision, context.parallel, results[j]);
                }
                return verify();
            }
            F::merge_float(inner, series_.alternating() && (block.b - block.a) % 2 != 0, results, accumulator,
                           folded, precision, precision, true);
        };
        // What the fold finds in the block's results is mended with them.
        std::optional<StatusFrame> frame;
        if (!last(i)) {
            frame.emplace(status, "-  ", status_digits(precision));
            frame->node().refresh();
        }
        mended(context.parallel, block.a, block.b, block_words(plan), fold, [&] {
            SilentStatus silent{Work()};
            sum(silent);
            fold();
        });
        if (!last(i)) status.work().add(fold_work(i));
        accumulator = folded;
        leave_waiting(context.parallel, accumulator, "sum");
    }
    static u64 block_words(const BSR_BlockB<F>& plan) {
        u64 words = 0;
        for (const u64 n : plan.capacities()) words = std::max(words, n);
        return words;
    }

    const Series& series_;
    PsrBlocks blocks_;
    std::vector<Warnings::Line> remarks_;
    const u64 tds_;
    u64 floor_ = 0;
    std::vector<BSR_BlockB<F>> plans_;
    u64 area_words_[2] = {0, 0};
    Needs needs_;
};

}  // namespace kalvor::BinarySplitting
