#include "constants/builtin/log_search.h"

#include <cmath>
#include <limits>

namespace kalvor {
namespace {

// A formula with more terms is not taken, however cheap: every term has a series of its own to set up, and
// its place in the list of a run. Up to 1000 six terms always do.
u64 most_terms(u64 x) {
    return x <= 1000 ? 6 : 12;
}
// Points that a strategy visits at most: some tenths of a second.
constexpr u64 kMostPoints = 20000;
constexpr u64 kLargestBasePrime = 13;
// It has no magnitude in a signed word.
constexpr i64 kSmallest = std::numeric_limits<i64>::min();

double cost_of(const std::map<u32, i64>& terms) {
    double sum = 0;
    for (const auto& [m, c] : terms) {
        if (c != 0) sum += 1 / std::log(static_cast<double>(m));
    }
    return sum;
}

[[nodiscard]] bool add_term(std::map<u32, i64>& terms, u32 m, i64 c) {
    i64& sum = terms[m];
    return !__builtin_add_overflow(sum, c, &sum) && sum != kSmallest;
}

}  // namespace

LogSearch::LogSearch(u64 x, LogFormulaKind kind, const LogFormula* excluded)
    : kind_(kind), excluded_(excluded), factors_(factor(x)), x_(x), most_terms_(most_terms(x)) {}

void LogSearch::run(const Strategy& strategy) {
    LogSteps steps(strategy.steps);
    steps_ = &steps;
    table_rows_ = strategy.table_rows;
    points_left_ = kMostPoints;
    Point start;
    // Twice the exponents, because arccoth is half a logarithm.
    if (!multiply_power(start.left, factors_, 2)) return;
    if (strategy.whole_number) {
        for (const LogStep& step : whole_number_steps(x_, strategy.steps.most)) try_step(start, step, 2);
    } else {
        descend(start);
    }
    steps_ = nullptr;
}

void LogSearch::offer(const LogFormula& formula) {
    Terms terms;
    for (const LogTerm& term : formula.terms) terms[term.m] = term.c;
    offer(terms);
}

void LogSearch::offer(const Terms& terms) {
    const double cost = cost_of(terms);
    if (cost >= best_cost_) return;
    LogFormula formula;
    for (const auto& [m, c] : terms) {
        if (c != 0) formula.terms.push_back({c, m});
    }
    if (formula.terms.size() > most_terms_) return;
    if (excluded_ != nullptr && formula == *excluded_) return;
    best_ = std::move(formula);
    best_cost_ = cost;
}

void LogSearch::descend(const Point& point) {
    if (points_left_ == 0) return;
    points_left_--;
    points_++;
    if (cost_of(point.terms) >= best_cost_ || point.terms.size() > most_terms_) return;
    if (point.left.empty()) return offer(point.terms);
    const auto [p, exponent] = *point.left.rbegin();
    if (table_rows_) try_row(point);
    if (p <= kLargestBasePrime) try_bases(point);
    for (const LogStep& step : steps_->of(p)) {
        if (exponent % step.exponent == 0) try_step(point, step, exponent);
    }
}

// A base of more primes than 2, 3, 5 and 7 is looked at only where it costs no more terms than removing the
// others one by one.
void LogSearch::try_bases(const Point& point) {
    for (const LogBase& base : log_bases(kind_)) {
        if (base.size() >= 5 && !point.left.contains(11)) continue;
        if (base.size() >= 6 && !point.left.contains(13)) continue;
        std::vector<LogTerm> solution;
        if (!base.solve(point.left, solution)) continue;
        Terms terms = point.terms;
        bool fits = true;
        for (const LogTerm& term : solution) fits = fits && add_term(terms, term.m, term.c);
        if (fits) offer(terms);
    }
}

void LogSearch::try_row(const Point& point) {
    const auto [p, exponent] = *point.left.rbegin();
    const LogRecord* record = find_log_record(kind_, p);
    if (record == nullptr || exponent % 2 != 0) return;
    Point next = point;
    next.left.erase(p);
    for (u32 i = 0; i < record->n; i++) {
        i64 c;
        if (__builtin_mul_overflow(record->terms[i].c, exponent / 2, &c)) return;
        if (!add_term(next.terms, record->terms[i].m, c)) return;
    }
    descend(next);
}

// Takes the step's logarithm so often that `exponent_left` of what it removes is gone.
void LogSearch::try_step(const Point& point, const LogStep& step, i64 exponent_left) {
    const i64 c = exponent_left / step.exponent;
    Point next = point;
    if (c == kSmallest || !multiply_power(next.left, step.ratio, -c)) return;
    if (!add_term(next.terms, static_cast<u32>(step.m), c)) return;
    descend(next);
}

}  // namespace kalvor
