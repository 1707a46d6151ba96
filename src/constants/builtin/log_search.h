// The search for the cheapest Machin-like formula: branch and bound over the ways to remove the largest
// prime.
#pragma once

#include <map>
#include <optional>

#include "constants/builtin/log_base.h"
#include "constants/builtin/log_steps.h"
#include "constants/builtin/log_tables.h"

namespace kalvor {

// Looks for coefficients c with the product of ratio(m)^c over the terms equal to x^2, by strategies that are
// tried one after the other. Each is bounded by the best cost so far.
//
// At every point of a search the largest prime of what is left is removed by one step, by its row of the
// formula table, or, with all primes that are left, by a base. Only smaller primes come in, so that no search
// runs in a circle.
class LogSearch {
  public:
    // `excluded`: a formula that must not be the result.
    LogSearch(u64 x, LogFormulaKind kind, const LogFormula* excluded);

    struct Strategy {
        LogStepChoice steps;
        bool table_rows;    // rows of the formula table beside the bases
        bool whole_number;  // begins with a step that removes all primes of x
    };
    void run(const Strategy& strategy);
    // A formula from elsewhere.
    void offer(const LogFormula& formula);

    // Points visited so far; the time is proportional to them.
    u64 points() const { return points_; }

    // The best so far. Its terms are in the order of the arguments.
    const std::optional<LogFormula>& best() const { return best_; }

  private:
    using Terms = std::map<u32, i64>;  // m -> c, also those that have become 0
    struct Point {
        PrimeExponents left;  // what the terms do not cover
        Terms terms;
    };

    void descend(const Point& point);
    void try_bases(const Point& point);
    void try_row(const Point& point);
    void try_step(const Point& point, const LogStep& step, i64 exponent_left);
    void offer(const Terms& terms);

    const LogFormulaKind kind_;
    const LogFormula* const excluded_;
    const PrimeExponents factors_;
    const u64 x_;
    const u64 most_terms_;
    std::optional<LogFormula> best_;
    double best_cost_ = 0x1p100;
    // of the strategy that runs
    LogSteps* steps_ = nullptr;
    bool table_rows_ = false;
    u64 points_left_ = 0;
    // of all
    u64 points_ = 0;
};

}  // namespace kalvor
