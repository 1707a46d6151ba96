// Sums one block of a series after its plan (block_plan.h), for any family.
//
// What is checked, and where:
//
//   ranges of up to kRangeWords words        their results, once: every sum and product in them follows
//                                            by residues
//   longer ranges                            their products one by one, with the residues that the operands
//                                            carry
//   exact results that leave the block, or   once more, by kvb_Verify_BSR()
//   become floating-point numbers
//   floating-point halves                    before they are merged
//
// A range that fails is done again from its terms (mend.h).
#pragma once

#include <algorithm>

#include "base/errors/exceptions.h"
#include "base/errors/fatal.h"
#include "base/names/names.h"
#include "base/status/silent_status.h"
#include "base/status/status_scope.h"
#include "constants/bsr/block_plan.h"
#include "constants/bsr/mend.h"
#include "constants/bsr/verify_bsr.h"
#include "platform/parallel/basic_parallelizer.h"
#include "platform/parallel/fork_join_catching.h"

namespace kalvor::BinarySplitting {

// Results of up to this many words come from products of at most this many, which the floating-point
// transform does: their checks one by one would cost more than 10 percent of them.
inline constexpr u64 kRangeWords = 3264;

// An exact number as a floating-point number in the same words.
inline BigFloat as_float(const ExactFloat& A) {
    BigFloat B(A.buffer, A.buffer_size);
    B.T = A.T;
    B.L = A.L;
    B.exp = A.exp;
    B.sign = A.sign;
    B.residue = A.residue;
    return B;
}

// Numbers of the terms [a, b) that have waited: AlgorithmFailedException where one was damaged.
template <std::size_t K>
void verify_waiting(const ParallelContext& parallel, const std::array<BigFloat, K>& numbers, const char* what,
                    u64 a, u64 b) {
    for (std::size_t i = 0; i < K; i++) {
        const std::string name = range_name(a, b) + ", " + what + ", number " + std::to_string(i + 1);
        numbers[i].verify(parallel, name.c_str());
    }
}
// Numbers that begin to wait. Those whose residue is not known take that of their words.
template <std::size_t K>
void leave_waiting(const ParallelContext& parallel, std::array<BigFloat, K>& numbers, const char* stage) {
    for (BigFloat& A : numbers) {
        if (A.L == 0) continue;
        if (A.residue == goldilocks::kNone) {
#ifdef KALVOR_CHECK_NUMBERS
            throw AlgorithmFailedException("leave_waiting()", "A number carries no residue.");
#endif
            A.seal(parallel);
        }
        parallel.stage(stage, A.T, A.L * sizeof(Word));
    }
}

// The walks of a run. Results go to buffers of the plan's capacities; context.scratch holds the plan's needs.
template <SeriesFamily F>
class BlockRun {
  public:
    explicit BlockRun(const BSR_BlockB<F>& plan) : plan_(plan) {}

    void run(const MultiplyContext& context, Status& status, ExactRange<F>& out) const {
        check(context, out);
        run_verified(context, status, plan_.block().a, plan_.block().b, plan_.depth(), out);
    }
    void run(const MultiplyContext& context, Status& status, FloatRange<F>& out) const {
        check(context, out);
        run_float(context, status, plan_.block().a, plan_.block().b, plan_.depth(), out);
    }

  private:
    // Ranges of one task below this add their work as one piece.
    static constexpr u64 kCountedTerms = 8000;

    template <class Range>
    void check(const MultiplyContext& context, const Range& out) const {
        if (context.parallel.tds > plan_.tds()) {
            throw InvalidParametersException("BSR_BlockB::run()",
                                             "Attempted to run with a larger tds than the plan supports.");
        }
        for (std::size_t i = 0; i < F::kNumbers; i++) {
            if (out[i].buffer_size < plan_.capacities()[i]) {
                assertion_failure(kInvalidParameters, "BSR_BlockB::run()", "A buffer is too small.");
            }
        }
    }

    // The sums of [a, m) and [m, b) become that of [a, b).
    void merge(const MultiplyContext& context, u64 a, u64 m, u64 b, const ExactRange<F>& left,
               const ExactRange<F>& right, ExactRange<F>& out) const {
        F::merge(context, plan_.subtracts(a, m), left, right, out, plan_.edge(b));
        out.terms = joined(context.parallel, left.terms, right.terms);
    }
    void verify(const ParallelContext& parallel, u64 a, u64 b, const ExactRange<F>& out) const {
        check_terms(out.terms, a, b);
        kvb_Verify_BSR(a, b, out, parallel);
    }

    // ---- the word level: one task

    void sequential(const MultiplyContext& context, Work work, u64 a, u64 b, ExactRange<F>& out) const {
        if (work && b - a < kCountedTerms) {
            sequential(context, Work(), a, b, out);
            return work.add(plan_.range_work(a, b));
        }
        const u64 words = words_of_range(a, b);
        if (words <= kRangeWords) {
            checked_range(context, a, b, out);
            if (work) work.add(plan_.range_work(a, b));
            return;
        }
        const u64 m = plan_.split(a, b);
        MultiplyContext inner = context;
        ExactRange<F> left = carve_range<ExactFloat>(inner.scratch, plan_.capacities(a, m));
        const MultiplyContext above_left = inner;
        ExactRange<F> right = carve_range<ExactFloat>(inner.scratch, plan_.capacities(m, b));
        const auto halves = [&](Work counted) {
            sequential(above_left, counted, a, m, left);
            sequential(inner, counted, m, b, right);
        };
        const auto merge = [&] { this->merge(inner, a, m, b, left, right, out); };
        halves(work);
        mended(context.parallel, a, b, words, merge, [&] {
            halves(Work());
            merge();
        });
        if (work) work.add(plan_.merge_work(a, m, b));
    }

    u64 words_of_range(u64 a, u64 b) const {
        return b - a < plan_.series().leaf_threshold() ? 0 : plan_.series().plan_words(a, b);
    }

    // A range that is checked as one.
    void checked_range(MultiplyContext context, u64 a, u64 b, ExactRange<F>& out) const {
        const ParallelContext parallel = context.parallel;
        context.parallel.inner_unchecked = true;
        const auto once = [&] {
            unchecked(context, a, b, out);
            verify(parallel, a, b, out);
        };
        mended(parallel, a, b, kRangeWords, once, once);
        for (const ExactFloat& A : out) parallel.stage("rest", A.T, A.L * sizeof(Word));
    }
    void unchecked(const MultiplyContext& context, u64 a, u64 b, ExactRange<F>& out) const {
        if (b - a < plan_.series().leaf_threshold()) {
            F::leaf(context, plan_.series(), a, b, out, plan_.edge(b));
            out.terms = {a, b};
        } else {
            const u64 m = plan_.split(a, b);
            MultiplyContext inner = context;
            ExactRange<F> left = carve_range<ExactFloat>(inner.scratch, plan_.capacities(a, m));
            unchecked(inner, a, m, left);
            ExactRange<F> right = carve_range<ExactFloat>(inner.scratch, plan_.capacities(m, b));
            unchecked(inner, m, b, right);
            merge(inner, a, m, b, left, right, out);
        }
        for (const ExactFloat& A : out) context.parallel.stage("piece", A.T, A.L * sizeof(Word));
    }

    // ---- exact: halves as two tasks; above them, one after the other with all tasks in the products

    void run_T(const MultiplyContext& context, Work work, u64 a, u64 b, ExactRange<F>& out) const {
        const u64 tds = context.parallel.tds;
        if (tds < 2 || !plan_.splits(a, b)) return sequential(context.with_tds(1), work, a, b, out);
        const u64 m = plan_.split(a, b);
        AlignedBufferC memory = context.scratch;
        ExactRange<F> left = carve_range<ExactFloat>(memory, plan_.capacities(a, m));
        ExactRange<F> right = carve_range<ExactFloat>(memory, plan_.capacities(m, b));
        const auto halves = [&](Work counted) {
            const MemoryHalves half(memory);
            fork_join_catching(
                context.parallel,
                [&] { run_T(context.with_scratch(half.first).with_tds(tds / 2), counted, a, m, left); },
                [&] {
                    run_T(context.with_scratch(half.second).with_tds(tds - tds / 2), counted, m, b, right);
                });
        };
        const auto merge = [&] {
            this->merge(context.with_scratch(memory).with_tds(std::min(tds, plan_.tds())), a, m, b, left,
                        right, out);
        };
        halves(work);
        mended(context.parallel, a, b, words_of_range(a, b), merge, [&] {
            halves(Work());
            merge();
        });
        if (work) work.add(plan_.merge_work(a, m, b));
    }

    void run_B(const MultiplyContext& context, Status& status, u64 a, u64 b, u64 depth,
               ExactRange<F>& out) const {
        if (depth == 0 || !plan_.splits(a, b)) return run_leaf(context, status, a, b, out);
        const u64 m = plan_.split(a, b);
        MultiplyContext inner = context;
        ExactRange<F> left = carve_range<ExactFloat>(inner.scratch, plan_.capacities(a, m));
        const MultiplyContext above_left = inner;
        ExactRange<F> right = carve_range<ExactFloat>(inner.scratch, plan_.capacities(m, b));
        const auto halves = [&](Status& to) {
            {
                StatusFrame frame(to, "0");
                run_B(above_left, frame.node(), a, m, depth - 1, left);
            }
            StatusFrame frame(to, "1");
            run_B(inner, frame.node(), m, b, depth - 1, right);
        };
        const auto merge = [&] { this->merge(inner, a, m, b, left, right, out); };
        halves(status);
        StatusFrame frame(status, "-  ", digits_of(a, b));
        frame.node().refresh();
        mended(context.parallel, a, b, words_of_range(a, b), merge, [&] {
            SilentStatus silent{Work()};
            halves(silent);
            merge();
        });
        status.work().add(plan_.merge_work(a, m, b));
    }

    // Results that are not read as exact numbers again.
    void run_verified(const MultiplyContext& context, Status& status, u64 a, u64 b, u64 depth,
                      ExactRange<F>& out) const {
        run_B(context, status, a, b, depth, out);
        const auto compare = [&] { verify(context.parallel, a, b, out); };
        mended(context.parallel, a, b, words_of_range(a, b), compare, [&] {
            SilentStatus silent{Work()};
            run_B(context, silent, a, b, depth, out);
            compare();
        });
    }

    // The last range that is announced.
    void run_leaf(const MultiplyContext& context, Status& status, u64 a, u64 b, ExactRange<F>& out) const {
        StatusFrame frame(status, " -> ", digits_of(a, b));
        frame.node().refresh();
        run_T(context.with_tds(plan_.widened(context.parallel.tds)), status.work(), a, b, out);
    }
    auto digits_of(u64 a, u64 b) const { return status_digits(plan_.series().output_words(a, b)); }

    // ---- floating point: exact where exact results fit in the precision of their place

    void run_float(const MultiplyContext& context, Status& status, u64 a, u64 b, u64 depth,
                   FloatRange<F>& out) const {
        const u64 tds = context.parallel.tds;
        if (plan_.fits(a, b)) {
            ExactRange<F> exact;
            for (std::size_t i = 0; i < F::kNumbers; i++)
                exact[i] = ExactFloat(out[i].buffer, out[i].buffer_size);
            run_verified(context, status, a, b, depth, exact);
            for (std::size_t i = 0; i < F::kNumbers; i++) out[i] = as_float(exact[i]);
            out.terms = exact.terms;
            return leave_waiting(context.parallel, out, "piece");
        }
        const u64 m = plan_.split(a, b);
        const u64 next = depth > 0 ? depth - 1 : 0;
        MultiplyContext inner = context;
        FloatRange<F> left = carve_range<BigFloat>(inner.scratch, plan_.float_capacities(a, m));
        const MultiplyContext above_left = inner;
        FloatRange<F> right = carve_range<BigFloat>(inner.scratch, plan_.float_capacities(m, b));
        const auto halves = [&](Status& to) {
            if (tds < 2 || depth > 0 || !plan_.splits(a, b)) {
                {
                    StatusFrame frame(to, "0");
                    run_float(above_left, frame.node(), a, m, next, left);
                }
                StatusFrame frame(to, "1");
                run_float(inner, frame.node(), m, b, next, right);
                return;
            }
            const MemoryHalves half(inner.scratch);
            fork_join_catching(
                context.parallel,
                [&] {
                    SilentStatus silent(to.work());
                    run_float(inner.with_scratch(half.first).with_tds(tds / 2), silent, a, m, next, left);
                },
                [&] {
                    SilentStatus silent(to.work());
                    run_float(inner.with_scratch(half.second).with_tds(tds - tds / 2), silent, m, b, next,
                              right);
                });
        };
        const auto merge = [&] {
            verify_waiting(context.parallel, left, "left half", a, m);
            verify_waiting(context.parallel, right, "right half", m, b);
            F::merge_float(inner, plan_.subtracts(a, m), left, right, out, plan_.precision_at(a),
                           plan_.link_precision_at(b), plan_.edge(b));
            out.terms = joined(context.parallel, left.terms, right.terms);
            check_terms(out.terms, a, b);
        };
        halves(status);
        StatusFrame frame(status, "-  ", status_digits(plan_.precision_at(a)));
        frame.node().refresh();
        mended(context.parallel, a, b, plan_.precision_at(a), merge, [&] {
            SilentStatus silent{Work()};
            for (auto* half : {&left, &right}) {
                for (BigFloat& A : *half) A = BigFloat(A.buffer, A.buffer_size);
            }
            for (BigFloat& A : out) A = BigFloat(A.buffer, A.buffer_size);
            halves(silent);
            merge();
        });
        leave_waiting(context.parallel, out, "piece");
        status.work().add(float_merge_work(plan_.precision_at(a)));
    }

    const BSR_BlockB<F>& plan_;
};

}  // namespace kalvor::BinarySplitting
