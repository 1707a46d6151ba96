#include <algorithm>

#include "base/errors/exceptions.h"
#include "constants/polynomials/sturm_sequence.h"
#include "constants/polynomials/zero_guesses.h"
#include "constants/polynomials/zeros.h"

namespace kalvor::Polynomials {
namespace {

constexpr const char* kFunction = "isolate_real_zeros()";

// A range whose ends are not zeros, with the sequence's sign changes there.
struct Range {
    Dyadic low, high;
    u64 changes_low, changes_high;
};

// The gap of the list in the middle of those inside the range; the range itself if there are fewer than two
// points inside.
std::pair<Dyadic, Dyadic> gap_of(const std::vector<Dyadic>& points, const Range& range) {
    const auto first = std::upper_bound(points.begin(), points.end(), range.low);
    const auto last = std::lower_bound(first, points.end(), range.high);
    const auto count = last - first;
    if (count < 2) return {range.low, range.high};
    const auto at = first + (count / 2 - 1);
    return {*at, *(at + 1)};
}

// The real parts of approximations that lie near the axis, in order and different.
std::vector<Dyadic> real_guesses(const IntegerPolynomial& p) {
    std::vector<Dyadic> points;
    for (const ComplexPoint& z : guess_zeros(p)) {
        const ScaledDoubleDouble x = z.x.to_double_double(), y = z.y.to_double_double();
        if (z.y.sign() == 0 || y.exponent < x.exponent - 8) points.push_back(z.x);
    }
    std::sort(points.begin(), points.end());
    points.erase(std::unique(points.begin(), points.end()), points.end());
    return points;
}

}  // namespace

void RealZero::halve() {
    if (low == high) return;
    const Dyadic middle = (low + high).half().reduced();
    const int sign = p->evaluate(middle).sign();
    if (sign == 0) {
        low = high = middle;
    } else if (sign == p->evaluate(low).sign()) {
        low = middle;
    } else {
        high = middle;
    }
}

void RealZero::refine(const Dyadic& width) {
    while (high - low > width) halve();
}

std::vector<RealZero> isolate_real_zeros(const IntegerPolynomial& p) {
    const SturmSequence sequence = SturmSequence::generate(p);
    std::vector<RealZero> zeros;
    if (p.degree() < 1) return zeros;
    const auto shared = std::make_shared<const IntegerPolynomial>(p);
    const std::vector<Dyadic> guesses = real_guesses(p);
    const Dyadic bound = Dyadic::scaled(1, p.zero_bound());
    // The leftmost range last, so that zeros come in order.
    std::vector<Range> ranges = {
        {-bound, bound, sequence.sign_changes(-bound), sequence.sign_changes(bound)}};
    while (!ranges.empty()) {
        const Range range = ranges.back();
        ranges.pop_back();
        const u64 count = SturmSequence::zeros(range.changes_low, range.changes_high, kFunction);
        if (count == 0) continue;
        if (count == 1) {
            zeros.push_back({shared, range.low, range.high, 1});
            if (p.evaluate(range.low).sign() == p.evaluate(range.high).sign()) {
                (void)SturmSequence::zeros(0, 1, kFunction);
            }
            continue;
        }
        const auto [from, to] = gap_of(guesses, range);
        // A polynomial of degree n is zero at no more than n of the points.
        Dyadic cut;
        for (u64 attempt = 0;; attempt++) {
            cut = simple_middle(from, to, attempt);
            if (p.evaluate(cut).sign() != 0) break;
        }
        const u64 changes = sequence.sign_changes(cut);
        ranges.push_back({cut, range.high, changes, range.changes_high});
        ranges.push_back({range.low, cut, range.changes_low, changes});
    }
    // Neighbours that share an end, which is not a zero.
    for (u64 i = 0; i + 1 < zeros.size(); i++) {
        while (zeros[i].high == zeros[i + 1].low) zeros[i].halve();
    }
    return zeros;
}

}  // namespace kalvor::Polynomials
