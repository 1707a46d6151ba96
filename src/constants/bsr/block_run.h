// Sums one block of a series after its plan (block_plan.h), for any family.
#pragma once

#include <algorithm>

#include "base/errors/exceptions.h"
#include "base/errors/fatal.h"
#include "base/names/names.h"
#include "base/status/silent_status.h"
#include "base/status/status_scope.h"
#include "constants/bsr/block_plan.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor::BinarySplitting {

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

// The walks of a run. Results go to buffers of the plan's capacities; context.scratch holds the plan's needs.
template <SeriesFamily F>
class BlockRun {
  public:
    explicit BlockRun(const BSR_BlockB<F>& plan) : plan_(plan) {}

    void run(const MultiplyContext& context, Status& status, ExactRange<F>& out) const {
        check(context, out);
        run_B(context, status, plan_.block().a, plan_.block().b, plan_.depth(), out);
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

    // ---- the word level: one task

    void sequential(const MultiplyContext& context, Work work, u64 a, u64 b, ExactRange<F>& out) const {
        if (work && b - a < kCountedTerms) {
            sequential(context, Work(), a, b, out);
            return work.add(plan_.range_work(a, b));
        }
        if (b - a < plan_.series().leaf_threshold()) {
            F::leaf(plan_.series(), a, b, out, plan_.edge(b), context.scratch);
            return;
        }
        const u64 m = plan_.split(a, b);
        MultiplyContext inner = context;
        ExactRange<F> left = carve_range<ExactFloat>(inner.scratch, plan_.capacities(a, m));
        sequential(inner, work, a, m, left);
        ExactRange<F> right = carve_range<ExactFloat>(inner.scratch, plan_.capacities(m, b));
        sequential(inner, work, m, b, right);
        F::merge(inner, plan_.subtracts(a, m), left, right, out, plan_.edge(b));
        if (work) work.add(plan_.merge_work(a, m, b));
    }

    // ---- exact: halves as two tasks; above them, one after the other with all tasks in the products

    void run_T(const MultiplyContext& context, Work work, u64 a, u64 b, ExactRange<F>& out) const {
        const u64 tds = context.parallel.tds;
        if (tds < 2 || !plan_.splits(a, b)) return sequential(context.with_tds(1), work, a, b, out);
        const u64 m = plan_.split(a, b);
        AlignedBufferC memory = context.scratch;
        ExactRange<F> left = carve_range<ExactFloat>(memory, plan_.capacities(a, m));
        ExactRange<F> right = carve_range<ExactFloat>(memory, plan_.capacities(m, b));
        const MemoryHalves half(memory);
        fork_join(
            context.parallel,
            [&] { run_T(context.with_scratch(half.first).with_tds(tds / 2), work, a, m, left); },
            [&] { run_T(context.with_scratch(half.second).with_tds(tds - tds / 2), work, m, b, right); });
        F::merge(context.with_scratch(memory).with_tds(std::min(tds, plan_.tds())), plan_.subtracts(a, m),
                 left, right, out, plan_.edge(b));
        if (work) work.add(plan_.merge_work(a, m, b));
    }

    void run_B(const MultiplyContext& context, Status& status, u64 a, u64 b, u64 depth,
               ExactRange<F>& out) const {
        if (depth == 0 || !plan_.splits(a, b)) return run_leaf(context, status, a, b, out);
        const u64 m = plan_.split(a, b);
        MultiplyContext inner = context;
        ExactRange<F> left = carve_range<ExactFloat>(inner.scratch, plan_.capacities(a, m));
        {
            StatusFrame frame(status, "0");
            run_B(inner, frame.node(), a, m, depth - 1, left);
        }
        ExactRange<F> right = carve_range<ExactFloat>(inner.scratch, plan_.capacities(m, b));
        {
            StatusFrame frame(status, "1");
            run_B(inner, frame.node(), m, b, depth - 1, right);
        }
        StatusFrame frame(status, "-  ", digits_of(a, b));
        frame.node().refresh();
        F::merge(inner, plan_.subtracts(a, m), left, right, out, plan_.edge(b));
        status.work().add(plan_.merge_work(a, m, b));
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
            run_leaf(context, status, a, b, exact);
            for (std::size_t i = 0; i < F::kNumbers; i++) out[i] = as_float(exact[i]);
            return;
        }
        const u64 m = plan_.split(a, b);
        const u64 next = depth > 0 ? depth - 1 : 0;
        MultiplyContext inner = context;
        FloatRange<F> left = carve_range<BigFloat>(inner.scratch, plan_.float_capacities(a, m)), right;
        if (tds < 2 || depth > 0 || !plan_.splits(a, b)) {
            {
                StatusFrame frame(status, "0");
                run_float(inner, frame.node(), a, m, next, left);
            }
            right = carve_range<BigFloat>(inner.scratch, plan_.float_capacities(m, b));
            StatusFrame frame(status, "1");
            run_float(inner, frame.node(), m, b, next, right);
        } else {
            right = carve_range<BigFloat>(inner.scratch, plan_.float_capacities(m, b));
            const MemoryHalves half(inner.scratch);
            fork_join(
                context.parallel,
                [&] {
                    SilentStatus silent(status.work());
                    run_float(inner.with_scratch(half.first).with_tds(tds / 2), silent, a, m, next, left);
                },
                [&] {
                    SilentStatus silent(status.work());
                    run_float(inner.with_scratch(half.second).with_tds(tds - tds / 2), silent, m, b, next,
                              right);
                });
        }
        StatusFrame frame(status, "-  ", status_digits(plan_.precision_at(a)));
        frame.node().refresh();
        F::merge_float(inner, plan_.subtracts(a, m), left, right, out, plan_.precision_at(a),
                       plan_.link_precision_at(b), plan_.edge(b));
        status.work().add(float_merge_work(plan_.precision_at(a)));
    }

    const BSR_BlockB<F>& plan_;
};

}  // namespace kalvor::BinarySplitting
