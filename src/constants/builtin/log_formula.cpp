#include "constants/builtin/log_formula.h"

#include <algorithm>
#include <map>

#include "base/clock/timer.h"
#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "constants/builtin/log_relations.h"
#include "constants/builtin/log_search.h"

namespace kalvor {
namespace {

// Their logarithms come from the bases.
constexpr u64 kLargestOfBases = 7;
constexpr const char* kGenerator = "generate_log_formula()";
constexpr const char* kNotDerived = "Unable to derive formula.";
constexpr const char* kNotVerified = "Unable to verify correctness of formula.";

[[noreturn]] void not_derived(const char* function) {
    throw AlgorithmFailedException(function, kNotDerived);
}

// The steps beside 2x take arguments up to 2^32 - 1.
constexpr u64 kLargestArgument = (u64(1) << 31) - 1;

bool table_route_exists(const PrimeExponents& factors, LogFormulaKind kind) {
    for (const auto& [p, exponent] : factors) {
        if (p > kLargestOfBases && find_log_record(kind, p) == nullptr && log_relations_of(p).empty())
            return false;
    }
    return true;
}

// In the order in which they are tried; each sees more than the one before.
constexpr LogSearch::Strategy kStrategies[] = {
    // The most promising step of each prime, then a base, so that the terms of all small primes merge.
    {.steps = {.multiples = false, .most = 1}, .table_rows = false, .whole_number = false},
    // Every relation of a prime of the table, the steps beside p and 2p above.
    {.steps = {.multiples = false, .most = 5}, .table_rows = false, .whole_number = false},
    // With rows of the formula table for some of the primes.
    {.steps = {.multiples = false, .most = 5}, .table_rows = true, .whole_number = false},
    // With multiples of the primes above the table.
    {.steps = {.multiples = true, .most = 8}, .table_rows = false, .whole_number = false},
    // One step from x, its double or another multiple of it, past all of its primes.
    {.steps = {.multiples = true, .most = 8}, .table_rows = true, .whole_number = true},
};

GeneratedLogFormula generate(u64 x, LogFormulaKind kind, const LogFormula* excluded) {
    if (x == 0) throw InvalidParametersException(kGenerator, "Error: Log(0)");
    if (x == 1) return {};
    if (x > kLargestArgument) not_derived(kGenerator);
    const WallTimer timer;
    LogSearch search(x, kind, excluded);
    const LogRecord* entry = find_log_record(kind, x);
    if (entry != nullptr) search.offer(entry->formula());
    const double entry_cost = search.best() ? search.best()->cost() : 0x1p100;
    if (table_route_exists(factor(x), kind)) search.offer(table_route(x, kind));
    for (const LogSearch::Strategy& strategy : kStrategies) search.run(strategy);
    if (!search.best()) not_derived(kGenerator);
    verify_log_formula(x, *search.best());
    return {*search.best(), entry != nullptr && search.best()->cost() < entry_cost, search.points(),
            timer.seconds()};
}

}  // namespace

GeneratedLogFormula generate_log_formula(u64 x, LogFormulaKind kind) {
    if (kind == LogFormulaKind::primary) return generate(x, kind, nullptr);
    return generate_log_formulas(x).secondary;
}

GeneratedLogFormulas generate_log_formulas(u64 x) {
    GeneratedLogFormulas both;
    both.primary = generate(x, LogFormulaKind::primary, nullptr);
    both.secondary = generate(x, LogFormulaKind::secondary, &both.primary.formula);
    return both;
}

LogFormula table_route(u64 x, LogFormulaKind kind) {
    constexpr const char* kFunction = "table_route()";
    std::map<u32, i64> terms;
    const auto add = [&](u64 m, i64 c, i64 factor) {
        i64 product;
        i64& sum = terms[static_cast<u32>(m)];
        if (__builtin_mul_overflow(c, factor, &product) || __builtin_add_overflow(sum, product, &sum)) {
            not_derived(kFunction);
        }
    };
    // The exponents of x^2, because arccoth is half a logarithm.
    PrimeExponents queue;
    for (const auto& [p, exponent] : factor(x)) queue[p] = 2 * exponent;
    while (!queue.empty()) {
        const auto [p, exponent] = *queue.rbegin();
        const LogRecord* record = find_log_record(kind, p);
        if (record != nullptr && exponent % 2 == 0) {
            for (u32 i = 0; i < record->n; i++) add(record->terms[i].m, record->terms[i].c, exponent / 2);
            queue.erase(p);
            continue;
        }
        if (p <= kLargestOfBases) {
            // All primes that are left are of this kind.
            std::vector<LogTerm> rest;
            if (!log_bases(kind).front().solve(queue, rest)) not_derived(kFunction);
            for (const LogTerm& term : rest) add(term.m, term.c, 1);
            break;
        }
        const std::vector<LogRelation> relations = log_relations_of(p);
        if (relations.empty()) {
            throw InvalidParametersException(kFunction, "Non-base prime found in queue.");
        }
        // p stands in the ratio of m with the exponent 2 / d, 1 or 2. The first relation that leaves no
        // halves.
        const auto row = std::find_if(relations.begin(), relations.end(),
                                      [e = exponent](const LogRelation& r) { return e % (2 / r.d) == 0; });
        if (row == relations.end()) not_derived(kFunction);
        const i64 c = exponent / (2 / row->d);
        add(row->m, c, 1);
        if (!multiply_power(queue, arccoth_ratio(row->m), -c)) not_derived(kFunction);
    }
    LogFormula formula;
    for (const auto& [m, c] : terms) {
        if (c != 0) formula.terms.push_back({c, m});
    }
    return formula;
}

void verify_log_formula(u64 x, const LogFormula& formula) {
    PrimeExponents difference;
    bool fits = multiply_power(difference, factor(x), -2);
    for (const LogTerm& term : formula.terms) {
        fits = fits && multiply_power(difference, arccoth_ratio(term.m), term.c);
    }
    if (!fits || !difference.empty()) {
        throw AlgorithmFailedException("verify_log_formula()", kNotVerified);
    }
}

std::string log_formula_text(u64 x, const LogFormula& formula) {
    std::string text = "Log[" + std::to_string(x) + "] = \n";
    for (const LogTerm& term : formula.terms) {
        text +=
            std::string(20, ' ') + std::to_string(term.c) + " * ArcCoth[" + std::to_string(term.m) + "]\n";
    }
    return text + "\n        Cost = " + std::to_string(formula.cost());
}

const char* generating_label(LogFormulaKind kind) {
    return kind == LogFormulaKind::primary ? "Generating Primary Formula...       "
                                           : "Generating Secondary Formula...     ";
}

}  // namespace kalvor
