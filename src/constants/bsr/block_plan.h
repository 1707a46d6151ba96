// The plan of one block of binary splitting in memory, for any family of series: made before anything runs.
//
// Memory is one stack, MultiplyContext::scratch. A range's results go to buffers of its parent; on the stack
// stand the results of its left half, then those of its right half, then what the merge needs:
//
//   range [a, b):   | left half's results | right half's results | merge                       |
//   while the right | left half's results | right half's results | its halves ... its own merge |
//   half is summed:
//
// The plan walks the same splits as the run (block_run.h) and finds the deepest point.
//
// A merge may keep the transform of a factor that it uses twice, or do its products one by one: that takes a
// little more time and much less memory. The run keeps transforms where the stack has room for them; the plan
// makes room for them as long as that does not raise the peak of the whole computation.
#pragma once

#include <algorithm>
#include <cmath>

#include "arith/multiply/product_needs.h"
#include "base/names/names.h"
#include "constants/bsr/family.h"
#include "constants/bsr/plan_memo.h"
#include "constants/bsr/psr_plan.h"
#include "constants/bsr/series_work.h"

namespace kalvor::BinarySplitting {

template <SeriesFamily F>
class BSR_BlockB {
  public:
    using Series = typename F::Series;

    // Which blocks a plan answers for: its own, or those of its size and precision anywhere in the series.
    enum class Answers { itself, its_like };

    // Sizes and work alone, for a block that is planned later.
    BSR_BlockB(const Series& series, const PsrBlock& block, bool right_edge, bool exact,
               Answers answers = Answers::itself)
        : series_(&series), block_(block), right_edge_(right_edge), exact_(exact), tds_(0) {
        if (answers == Answers::its_like) added_ = spread();
        capacities_ = exact ? capacities(block.a, block.b) : float_capacities(block.a, block.b);
    }

    // right_edge: nothing follows the block, so that its link is not needed. exact: the results are exact
    // numbers; otherwise floating-point numbers at the block's working precision. room: bytes that cost
    // nothing; when the tasks would take more, fewer levels are spread over them.
    BSR_BlockB(const Series& series, const PsrBlock& block, bool right_edge, bool exact, u64 tds,
               u64 room = kAnyRoom, Answers answers = Answers::itself)
        : BSR_BlockB(series, block, right_edge, exact, answers) {
        tds_ = tds;
        deep_ = !exact && words_of(series.log_size_resolved(block.a, block.b)) >
                              kFollowedShare * static_cast<double>(block.working_precision());
        if (deep_ || widened(tds) > kFollowedTasks) spread_ = spread();
        PlanMemo<F> memo;
        memo_ = &memo;
        const double size = series.log_size(block.a, block.b);
        const double nats_each = aggressive_limit(tds) * kLeafBlocks;
        u64 depth = 0;
        while (std::ldexp(size, -static_cast<int>(depth)) > nats_each) depth++;
        choose(depth, room);
        for (u64 i = 0; i < kMoreDepth && tds > 1 && needs_.bytes > room; i++) {
            const BSR_BlockB before = *this;
            choose(++depth, room);
            if (needs_.bytes >= before.needs_.bytes) *this = before;
        }
        memo_ = nullptr;
    }

    const Series& series() const { return *series_; }
    const PsrBlock& block() const { return block_; }
    bool exact() const { return exact_; }
    u64 tds() const { return tds_; }
    // Upper levels whose halves are summed one after the other, each with all tasks.
    u64 depth() const { return depth_; }
    // The capacities of the results.
    const Capacities<F>& capacities() const { return capacities_; }
    const Needs& needs() const { return needs_; }
    // What a run adds to the meter of its status.
    double work() const { return exact_ ? range_work(block_.a, block_.b) : float_work(block_.a, block_.b); }

    // ---- ranges of the block, as plan and run see them

    bool edge(u64 b) const { return right_edge_ && b == block_.b; }
    // Whether a range is worth spreading over tasks or upper levels. A leaf is not: what its numbers have in
    // common it takes out of them as a whole.
    bool splits(u64 a, u64 b) const { return b - a >= std::max(kMinSplitTerms, series_->leaf_threshold()); }
    u64 split(u64 a, u64 b) const {
        return memo_ == nullptr ? F::split(*series_, a, b) : memo_->split(*series_, a, b);
    }
    // Small tasks balance.
    static u64 widened(u64 tds) { return tds >= 2 ? tds << kShift : tds; }
    // Whether the right half has the other sign.
    bool subtracts(u64 a, u64 m) const { return (m - a) % 2 != 0 && series_->alternating(); }

    Capacities<F> capacities(u64 a, u64 b) const {
        Capacities<F> words = added(own_capacities(a, b));
        if (F::kLink < F::kNumbers && edge(b)) words[F::kLink] = 0;
        return words;
    }
    // An upper bound for any range of the size of [a, b) that is not at the edge.
    Capacities<F> wide_capacities(u64 a, u64 b) const {
        Capacities<F> words = own_capacities(a, b);
        for (u64& n : words) n += spread_ + added_;
        return words;
    }
    Capacities<F> added(Capacities<F> words) const {
        for (u64& n : words) n += added_;
        return words;
    }
    Capacities<F> float_capacities(u64 a, u64 b) const {
        Capacities<F> words = capacities(a, b);
        if (fits(a, b)) return words;
        for (std::size_t i = 0; i < F::kNumbers; i++) {
            const u64 precision = i == F::kLink ? link_precision_at(b) : precision_at(a);
            words[i] = std::min(words[i], F::float_words(precision) + added_);
        }
        return words;
    }
    u64 precision_at(u64 a) const {
        return std::min(block_.working_precision(), series_->precision_words(a) + 2);
    }
    // The link meets only what follows it.
    u64 link_precision_at(u64 b) const { return series_->precision_words(b) + 2; }
    // Whether exact results are no longer than the precision of their place.
    bool fits(u64 a, u64 b) const {
        return b - a < series_->leaf_threshold() || series_->plan_words(a, b) <= precision_at(a);
    }

    // ---- work for the meter: that of a range is telescoped over its halves, so that any recursion adds the
    // same

    double range_work(u64 a, u64 b) const {
        return BinarySplitting::range_work(words_of(series_->log_size(a, b)));
    }
    double merge_work(u64 a, u64 m, u64 b) const {
        return range_work(a, b) - range_work(a, m) - range_work(m, b);
    }
    double float_work(u64 a, u64 b) const {
        if (fits(a, b)) return range_work(a, b);
        const u64 m = split(a, b);
        return float_work(a, m) + float_work(m, b) + float_merge_work(precision_at(a));
    }

  private:
    // Ranges below this are neither split over tasks nor over upper levels.
    static constexpr u64 kMinSplitTerms = 1000;
    // Upper levels end at ranges of this many smallest blocks.
    static constexpr double kLeafBlocks = 16;
    // The tasks of a leaf block, as a shift of the tasks given.
    static constexpr u64 kShift = 1;
    // Ranges planned by their number of terms alone.
    static constexpr u64 kSmallTerms = 128;
    // Levels below a task's range that the plan follows exactly, down to ranges of kPlanTerms.
    static constexpr int kPlanLevels = 6;
    static constexpr u64 kPlanTerms = 2048;
    // Task levels of up to this number of tasks are followed into both halves of every range; larger ones by
    // their outermost ranges.
    static constexpr u64 kFollowedTasks = 16;
    // Blocks longer than this multiple of their precision have floating-point levels that are followed into
    // both halves kFloatLevels deep, and by their outermost ranges below that.
    static constexpr double kFollowedShare = 64;
    static constexpr int kFloatLevels = 4;
    // Upper levels tried in vain before the plan takes the memory it needs.
    static constexpr u64 kMoreDepth = 8;

    // Words by which a number may differ from that of another range of its size.
    u64 spread() const { return round_up_8(2 * series_->plan_words(block_.b - 1, block_.b)) + 16; }
    Capacities<F> own_capacities(u64 a, u64 b) const {
        return memo_ == nullptr ? F::capacities(*series_, a, b) : memo_->capacities(*series_, a, b);
    }
    void choose(u64 depth, u64 room) {
        depth_ = depth;
        needs_ = exact_ ? needs_B(block_.a, block_.b, depth, room)
                        : needs_float(block_.a, block_.b, tds_, depth, room);
    }

    // Which ranges a plan of one task answers for: the one that it is asked for, or any of its size.
    enum class For { itself, its_size };
    Capacities<F> capacities(u64 a, u64 b, For whom) const {
        return whom == For::itself ? capacities(a, b) : wide_capacities(a, b);
    }
    Capacities<F> inner_capacities(u64 a, u64 b, For whom) const {
        return whom == For::itself ? added(own_capacities(a, b)) : wide_capacities(a, b);
    }

    Needs merge_needs(u64 a, u64 m, u64 b, u64 room, For whom = For::itself) const {
        return F::merge_needs(
            {capacities(a, m, whom), inner_capacities(m, b, whom), inner_capacities(a, b, whom), room});
    }
    // Both halves one after the other. Their sizes differ by a few words at most. The right one runs above
    // the left one's results and so needs more memory: the plan follows the right one alone, one path for any
    // number of terms. Only if that path ends in a leaf while the left half is split once more, the plan
    // follows the left one as well.
    template <class Half>
    Needs halves(u64 a, u64 m, u64 b, u64 room, For whom, Half&& half) const {
        const u64 left = total_words(capacities(a, m, whom));
        const u64 words = left + total_words(capacities(m, b, whom));
        const u64 rest = room_above(room, words);
        const Needs needs = half(m, b, rest).maximum(merge_needs(a, m, b, rest, whom)).above(words);
        if (!long_leaf(b - m, whom) || long_leaf(m - a, whom)) return needs;
        return needs.maximum(half(a, m, room_above(room, left)).above(left));
    }

    // ---- the word level: one task

    // Each level carves the results of both its halves, which take the words of their terms and padding.
    u64 small_words() const {
        return 3 * F::term_words(*series_) * kSmallTerms + 1024 + round_up_8(series_->most_leaf_words());
    }
    // Whether a range is a leaf of more terms than are planned by their number, and any of its size as well.
    bool long_leaf(u64 terms, For whom) const {
        const u64 more = whom == For::its_size || added_ != 0 ? 2 : 0;
        return terms > kSmallTerms && terms + more < series_->leaf_threshold();
    }
    Needs needs_sequential(u64 a, u64 b, int levels, u64 room, For whom = For::itself) const {
        const Capacities<F> words = inner_capacities(a, b, whom);
        if (b - a <= kSmallTerms) return F::merge_needs({words, words, words, kAnyRoom}).above(small_words());
        if (long_leaf(b - a, whom)) return Needs().above(series_->most_leaf_words());
        const u64 m = split(a, b);
        if (levels > 0 && b - a > kPlanTerms) {
            return halves(a, m, b, room, whom, [&](u64 from, u64 to, u64 rest) {
                return needs_sequential(from, to, levels - 1, rest, whom);
            });
        }
        // Halves of halves: apart from padding the sizes form a geometric series. The merge that needs most
        // is not where the stack is deepest: it stands on the results of its own halves alone.
        //
        //   first merge:     | left | right | merge of [a, b)
        //   further down:    | left | right | l | r | l | r |..| leaf's product and small words
        //                    |<------------ chain ----------->|
        const u64 top = total_words(capacities(a, m, whom)) + total_words(capacities(m, b, whom));
        Needs needs = merge_needs(a, m, b, room_above(room, top), whom).above(top);
        const u64 chain = round_up_8(total_words(words) * 9 / 4) + 8192;
        for (const auto& [from, to] : {std::pair(a, m), std::pair(m, b)}) {
            if (to - from < 2) continue;
            const u64 rest = room_above(room, chain);
            needs.take_maximum(merge_needs(from, split(from, to), to, rest, whom).above(chain));
        }
        needs.take_maximum(kept_product_needs(basecase_words(), kAnyRoom).above(chain + small_words()));
        return needs;
    }

    // ---- exact: halves at once, each with half of what remains; above them, one after the other

    Needs needs_T(u64 a, u64 b, u64 tds, u64 room) const {
        if (tds < 2 || !splits(a, b)) return needs_sequential(a, b, kPlanLevels, room);
        const u64 m = split(a, b);
        const u64 words = total_words(capacities(a, m)) + total_words(capacities(m, b));
        const u64 rest = room_above(room, words);
        const u64 each = rest == kAnyRoom ? rest : rest / 2;
        const u64 more = tds - tds / 2;
        const Needs half = tds > kFollowedTasks
                               ? needs_level({a, m}, {m, b}, more, each)
                               : needs_T(a, m, tds / 2, each).maximum(needs_T(m, b, more, each));
        return half.twice().maximum(merge_needs(a, m, b, rest)).above(words);
    }

    // What any range of one level needs, from the first and the last of them. Halves are of equal size to one
    // term, so all ranges of a level are of one size to two terms; at one size a number's share grows or
    // shrinks along the index, so that it is largest at one of the two, to the words of spread_. `tds`: the
    // most that a range has. (The walk into both halves would take twice as long with each level.)
    //
    //   this level:   | first |  ...  |  ...  | last  |     |: where ranges meet
    //   the next:     |FF |   |  ...  |  ...  |   |LL |     FF, LL: its first and last, the halves at the
    //   ends
    struct Range {
        u64 a, b;
    };
    Needs needs_level(Range first, Range last, u64 tds, u64 room) const {
        const bool first_splits = splits(first.a, first.b), last_splits = splits(last.a, last.b);
        Needs needs;
        if (tds < 2 || !first_splits || !last_splits) {
            for (const Range& range : {first, last})
                needs.take_maximum(needs_sequential(range.a, range.b, kPlanLevels, room, For::its_size));
        }
        if (tds < 2 || (!first_splits && !last_splits)) return needs;
        const Range first_half{first.a, split(first.a, first.b)};
        const Range last_half{split(last.a, last.b), last.b};
        const Capacities<F> whole = widest(first, last), half = widest(first_half, last_half);
        const u64 words = 2 * total_words(half);
        const u64 rest = room_above(room, words);
        const u64 each = rest == kAnyRoom ? rest : rest / 2;
        return needs_level(first_half, last_half, tds - tds / 2, each)
            .twice()
            .maximum(F::merge_needs({half, half, whole, rest}))
            .above(words)
            .maximum(needs);
    }
    Capacities<F> widest(Range first, Range last) const {
        Capacities<F> words = wide_capacities(first.a, first.b);
        const Capacities<F> others = wide_capacities(last.a, last.b);
        for (std::size_t i = 0; i < F::kNumbers; i++) words[i] = std::max(words[i], others[i]);
        return words;
    }
    Needs needs_B(u64 a, u64 b, u64 depth, u64 room) const {
        if (depth == 0 || !splits(a, b)) return needs_T(a, b, widened(tds_), room);
        const u64 m = split(a, b);
        return halves(a, m, b, room, For::itself,
                      [&](u64 from, u64 to, u64 rest) { return needs_B(from, to, depth - 1, rest); });
    }

    // ---- floating point

    Needs needs_float(u64 a, u64 b, u64 tds, u64 depth, u64 room, int level = 0) const {
        if (fits(a, b)) return depth > 0 ? needs_B(a, b, depth, room) : needs_T(a, b, widened(tds), room);
        if (deep_ && level == kFloatLevels) return needs_float_level({a, b}, {a, b}, tds, depth, room);
        const bool serial = tds < 2 || depth > 0 || !splits(a, b);
        const u64 m = split(a, b);
        const u64 next = depth > 0 ? depth - 1 : 0;
        const Capacities<F> left = float_capacities(a, m), right = float_capacities(m, b);
        const u64 left_words = total_words(left), right_words = total_words(right);
        const u64 above_left = room_above(room, left_words);
        const u64 above_both = room_above(above_left, right_words);
        const Needs merge =
            F::float_needs({left, right, float_capacities(a, b), above_both, added_ != 0}, precision_at(a));
        if (serial) {
            return needs_float(m, b, tds, next, above_both, level + 1)
                .maximum(merge)
                .above(right_words)
                .maximum(needs_float(a, m, tds, next, above_left, level + 1))
                .above(left_words);
        }
        const u64 each = above_both == kAnyRoom ? above_both : above_both / 2;
        return needs_float(a, m, tds / 2, next, each, level + 1)
            .maximum(needs_float(m, b, tds - tds / 2, next, each, level + 1))
            .twice()
            .maximum(merge)
            .above(left_words + right_words);
    }

    // What any range of one level needs, exact or not: sizes are those of the first and the last one to the
    // words of spread_, and the first one's place has the highest precision.
    Needs needs_float_level(Range first, Range last, u64 tds, u64 depth, u64 room) const {
        Needs needs;
        if (any_fits(first, last)) needs = needs_level(first, last, widened(tds), room);
        if (all_fit(first, last)) return needs;
        const Range first_half{first.a, split(first.a, first.b)};
        const Range last_half{split(last.a, last.b), last.b};
        const Capacities<F> whole = widest_float(first, last), half = widest_float(first_half, last_half);
        const u64 words = 2 * total_words(half);
        const u64 rest = room_above(room, words);
        const u64 next = depth > 0 ? depth - 1 : 0;
        const Needs merge = F::float_needs({half, half, whole, rest, true}, precision_at(first.a));
        const bool first_splits = splits(first.a, first.b), last_splits = splits(last.a, last.b);
        const bool serial = tds < 2 || depth > 0;
        if (serial || !first_splits || !last_splits) {
            needs.take_maximum(
                needs_float_level(first_half, last_half, tds, next, rest).maximum(merge).above(words));
        }
        if (!serial && (first_splits || last_splits)) {
            const u64 each = rest == kAnyRoom ? rest : rest / 2;
            needs.take_maximum(needs_float_level(first_half, last_half, tds - tds / 2, next, each)
                                   .twice()
                                   .maximum(merge)
                                   .above(words));
        }
        return needs;
    }
    Capacities<F> widest_float(Range first, Range last) const {
        Capacities<F> words{};
        if (any_fits(first, last)) words = widest(first, last);
        for (std::size_t i = 0; i < F::kNumbers; i++) {
            const u64 precision = i == F::kLink ? link_precision_at(first.b) : precision_at(first.a);
            words[i] = std::max(words[i], F::float_words(precision) + added_);
        }
        return words;
    }
    // Ranges of one level differ by a term, and by the words of spread_.
    static u64 most_terms(Range first, Range last) {
        return std::max(first.b - first.a, last.b - last.a) + 1;
    }
    bool any_fits(Range first, Range last) const {
        const u64 shortest =
            std::min(series_->plan_words(first.a, first.b), series_->plan_words(last.a, last.b));
        return shortest <= precision_at(first.a) + spread_ ||
               most_terms(first, last) < series_->leaf_threshold() + 2;
    }
    bool all_fit(Range first, Range last) const {
        const u64 longest =
            std::max(series_->plan_words(first.a, first.b), series_->plan_words(last.a, last.b));
        return longest + spread_ <= precision_at(last.a) ||
               most_terms(first, last) < std::max<u64>(series_->leaf_threshold(), 4);
    }

    const Series* series_;
    PsrBlock block_;
    bool right_edge_;
    bool exact_;
    u64 tds_;
    u64 depth_ = 0;
    // Whether floating-point levels are followed by their outermost ranges.
    bool deep_ = false;
    // Words by which a number of a range may exceed that of the outermost ranges of its level.
    u64 spread_ = 0;
    // Words by which one may exceed that of a block of the same size.
    u64 added_ = 0;
    Capacities<F> capacities_;
    Needs needs_;
    // While it is planned.
    PlanMemo<F>* memo_ = nullptr;
};

}  // namespace kalvor::BinarySplitting
