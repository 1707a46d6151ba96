#include <algorithm>
#include <optional>

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "constants/polynomials/complex_line.h"
#include "constants/polynomials/sturm_sequence.h"
#include "constants/polynomials/zero_guesses.h"
#include "constants/polynomials/zeros.h"

namespace kalvor::Polynomials {
namespace {

// More coefficients than this are remarked on.
constexpr i64 kUnusualDegree = 32;

// Factors that turn p so that its real part is not zero at a corner. At most one direction of each corner is
// bad. Not 1 and i, which would make numbers of a Sturm sequence exactly zero on the axes; rounded ones
// cannot tell.
constexpr struct { int re, im; } kRotations[] = {{2, 1}, {1, 2}, {3, -1}, {1, -3}, {5, 1}};

struct Count {
    u64 inside;
    u64 on_edges;
};

Count count_zeros(const IntegerPolynomial& p, const Rectangle& r) {
    const ComplexPoint corners[5] = {{r.x0, r.y0}, {r.x1, r.y0}, {r.x1, r.y1}, {r.x0, r.y1}, {r.x0, r.y0}};
    ComplexInt values[4];
    for (int i = 0; i < 4; i++) {
        const u64 k = std::max(corners[i].x.k, corners[i].y.k);
        values[i] = p.evaluate(ComplexInt{corners[i].x.over(k), corners[i].y.over(k)}, k);
        if (values[i].is_zero()) {
            throw InvalidParametersException("count_complex_zeros_inside()",
                                             "A corner of the rectangle is a zero.");
        }
    }
    ComplexInt rotation;
    for (const auto& [re, im] : kRotations) {
        rotation = {re, im};
        if (std::none_of(values, values + 4,
                         [&](const ComplexInt& value) { return (value * rotation).re.is_zero(); })) {
            break;
        }
    }
    // Once around counterclockwise. imag / real jumps from +infinity to -infinity twice a turn.
    i64 c = 0;
    u64 e = 0;
    for (int i = 0; i < 4; i++) {
        const ComplexLine::Index side = ComplexLine(p, corners[i], corners[i + 1]).index(rotation);
        c -= side.cauchy_index;
        e += side.zeros;
    }
    return {compute_inside_zeros(c, e), e};
}

// Inside a rectangle above the real axis. One that stands on the axis is joined with its mirror image: it has
// no edge on the axis, where real zeros lie and where sequences have exact zeros. `real` is asked for then
// only.
template <class Real>
Count count_above_axis(const IntegerPolynomial& p, const Rectangle& r, const Real& real) {
    if (r.y0.sign() > 0) return count_zeros(p, r);
    const Count both = count_zeros(p, {r.x0, r.x1, -r.y1, r.y1});
    const u64 on_axis = both.on_edges == 0 ? real().zeros(r.x0, r.x1) : both.inside % 2;
    return {complex_pairs(both.inside, on_axis), both.on_edges};
}

bool is_zero_at(const IntegerPolynomial& p, const Dyadic& x, const Dyadic& y) {
    const u64 k = std::max(x.k, y.k);
    return p.evaluate(ComplexInt{x.over(k), y.over(k)}, k).is_zero();
}

// Cuts the upper half plane until each rectangle holds one zero.
class Subdivision {
  public:
    Subdivision(const IntegerPolynomial& p, const SturmSequence& real) : p_(p), real_(real) {
        for (const ComplexPoint& z : guess_zeros(p)) {
            if (z.y.sign() > 0) guesses_.push_back(z);
        }
    }
    // An approximation inside a rectangle, its centre if there is none.
    ComplexPoint start_of(const Rectangle& r) const {
        for (const ComplexPoint& z : guesses_) {
            if (r.contains({z.x, z.x, z.y, z.y})) return z;
        }
        return {(r.x0 + r.x1).half(), (r.y0 + r.y1).half()};
    }
    std::vector<Rectangle> run(const Rectangle& all, u64 zeros) {
        std::vector<Rectangle> found;
        std::vector<std::pair<Rectangle, u64>> left = {{all, zeros}};
        while (!left.empty()) {
            const auto [r, count] = left.back();
            left.pop_back();
            if (count == 0) continue;
            if (count == 1) {
                found.push_back(r);
                continue;
            }
            const auto [first, second, in_first] = cut(r);
            left.push_back({first, in_first});
            left.push_back({second, count - in_first});
        }
        return found;
    }

  private:
    struct Halves {
        Rectangle first, second;
        u64 in_first;
    };

    // Where a coordinate's range is best cut: in the widest gap between approximations inside the rectangle,
    // measured by the length of the side.
    struct Gap {
        Dyadic from, to;
    };
    Gap widest_gap(std::vector<Dyadic> values, const Dyadic& low, const Dyadic& high) const {
        std::sort(values.begin(), values.end());
        Gap best{low, high};
        Dyadic width{0, 0};
        // Among the gaps that leave a quarter of the zeros on each side.
        const u64 margin = values.size() / 4;
        for (u64 i = margin; i + 1 + margin < values.size(); i++) {
            if (values[i + 1] - values[i] > width) {
                width = values[i + 1] - values[i];
                best = {values[i], values[i + 1]};
            }
        }
        return best;
    }

    Halves cut(const Rectangle& r) {
        std::vector<Dyadic> xs, ys;
        for (const ComplexPoint& z : guesses_) {
            if (r.x0 < z.x && z.x < r.x1 && r.y0 < z.y && z.y < r.y1) {
                xs.push_back(z.x);
                ys.push_back(z.y);
            }
        }
        const bool guided = xs.size() >= 2;
        const Gap x = widest_gap(xs, r.x0, r.x1), y = widest_gap(ys, r.y0, r.y1);
        // Without guides the longer side is halved.
        const bool vertical =
            guided ? x.to - x.from >= y.to - y.from && !(x.to == x.from) : r.x1 - r.x0 >= r.y1 - r.y0;
        const Gap& gap = vertical ? x : y;
        const Gap whole = vertical ? Gap{r.x0, r.x1} : Gap{r.y0, r.y1};
        for (u64 attempt = 0;; attempt++) {
            // Points that coincide do not leave a gap.
            const Dyadic at = gap.from == gap.to ? simple_middle(whole.from, whole.to, attempt)
                                                 : simple_middle(gap.from, gap.to, attempt);
            Halves halves{r, r, 0};
            if (vertical) {
                if (is_zero_at(p_, at, r.y0) || is_zero_at(p_, at, r.y1)) continue;
                halves.first.x1 = halves.second.x0 = at;
            } else {
                if (is_zero_at(p_, r.x0, at) || is_zero_at(p_, r.x1, at)) continue;
                halves.first.y1 = halves.second.y0 = at;
            }
            const Count count =
                count_above_axis(p_, halves.first, [&]() -> const SturmSequence& { return real_; });
            // The outer edges hold no zeros; one on the cut would belong to neither half.
            if (count.on_edges != 0) continue;
            halves.in_first = count.inside;
            return halves;
        }
    }

    const IntegerPolynomial& p_;
    const SturmSequence& real_;
    std::vector<ComplexPoint> guesses_;
};

// n^(1/2) rounded up to a power of two: its exponent, for n > 0.
i64 half_exponent(const SimpleInt& n) {
    return static_cast<i64>(n.bit_length() + 1) / 2;
}

}  // namespace

u64 compute_inside_zeros(i64 c, u64 e) {
    constexpr const char* kFunction = "compute_inside_zeros()";
    if (c < 0) throw AlgorithmFailedException(kFunction, "Cauchy Index is negative.");
    if (static_cast<u64>(c) < e) {
        throw AlgorithmFailedException(kFunction, "Cauchy Index is larger than edge zeros.");
    }
    const u64 twice = static_cast<u64>(c) - e;
    if (twice % 2 != 0) {
        throw AlgorithmFailedException(kFunction, "Adjusted Cauchy Index is not a multiple of 2.");
    }
    return twice / 2;
}

u64 complex_pairs(u64 degree, u64 real_zeros) {
    if (degree < real_zeros || (degree - real_zeros) % 2 != 0) {
        throw AlgorithmFailedException("isolate_zeros_square_free()", "The # of complex zeros is not even.");
    }
    return (degree - real_zeros) / 2;
}

u64 count_complex_zeros_inside(const IntegerPolynomial& p, const Rectangle& rectangle) {
    return count_zeros(p, rectangle).inside;
}

// Newton's method. A disc of radius n |p / p'| around a point holds a zero (Laguerre); when
// it lies inside the box, the zero is the one of the box. Until then the box is cut.
void ComplexZero::refine(const Dyadic& width) {
    const IntegerPolynomial derivative = p->derivative();
    const u64 n = static_cast<u64>(p->degree());
    ComplexPoint& z = near;
    u64 steps = 0;
    while (box.x1 - box.x0 > width || box.y1 - box.y0 > width) {
        const u64 k = std::max(z.x.k, z.y.k);
        const ComplexInt at{z.x.over(k), z.y.over(k)};
        const ComplexInt value = p->evaluate(at, k), slope = derivative.evaluate(at, k);
        bool inside = false;
        i64 radius = 0;
        if (!slope.is_zero()) {
            // (n |value| / |slope|)^2 / 4^k <= 4^radius
            const SimpleInt norm = value.norm() * SimpleInt::from_u64(n * n);
            radius = norm.is_zero() ? -static_cast<i64>(width.k) - 2
                                    : half_exponent(SimpleInt::divmod(norm, slope.norm()).quotient + 1) -
                                          static_cast<i64>(k);
            if (!norm.is_zero() && norm < slope.norm()) {
                radius = -static_cast<i64>((slope.norm().bit_length() - norm.bit_length()) / 2) + 1 -
                         static_cast<i64>(k);
            }
            const Dyadic r = Dyadic::scaled(1, radius);
            const Rectangle disc{z.x - r, z.x + r, z.y - r, z.y + r};
            inside = box.contains(disc);
            if (inside && disc.x1 - disc.x0 < box.x1 - box.x0 && disc.y1 - disc.y0 < box.y1 - box.y0) {
                box = {disc.x0.reduced(), disc.x1.reduced(), disc.y0.reduced(), disc.y1.reduced()};
                if (norm.is_zero()) continue;
            }
            // z - p / p' with twice the bits that are right.
            const i64 target =
                std::min<i64>(std::max<i64>(-2 * radius, 0) + 64, static_cast<i64>(width.k) + 64);
            const u64 bits = std::max(k, static_cast<u64>(std::max<i64>(target, 0)));
            const ComplexInt product = (value * slope.conjugate()) << (bits - k);
            const SimpleInt slope_norm = slope.norm();
            z = {{(at.re << (bits - k)) - SimpleInt::divmod(product.re, slope_norm).quotient, bits},
                 {(at.im << (bits - k)) - SimpleInt::divmod(product.im, slope_norm).quotient, bits}};
        }
        const Rectangle point{z.x, z.x, z.y, z.y};
        if (++steps % 40 != 0 && !slope.is_zero() && box.contains(point)) continue;
        // Newton's method has left the box, or does not settle.
        Rectangle half = box;
        for (u64 attempt = 0;; attempt++) {
            half = box;
            const bool vertical = box.x1 - box.x0 >= box.y1 - box.y0;
            const Dyadic cut =
                vertical ? simple_middle(box.x0, box.x1, attempt) : simple_middle(box.y0, box.y1, attempt);
            (vertical ? half.x1 : half.y1) = cut;
            if (vertical ? is_zero_at(*p, cut, box.y0) || is_zero_at(*p, cut, box.y1)
                         : is_zero_at(*p, box.x0, cut) || is_zero_at(*p, box.x1, cut)) {
                continue;
            }
            const Count count = count_above_axis(*p, half, [&] { return SturmSequence::generate(*p); });
            if (count.on_edges != 0) continue;
            if (count.inside == 0) {
                half = box;
                (vertical ? half.x0 : half.y0) = cut;
            }
            break;
        }
        box = half;
        z = {(box.x0 + box.x1).half(), (box.y0 + box.y1).half()};
    }
}

Zeros isolate_zeros_square_free(const IntegerPolynomial& p, Remarks* remarks) {
    if (remarks != nullptr && p.degree() >= kUnusualDegree) {
        remarks->push_back({"Unusual high order polynomial. May take time to process...", ' ', true});
    }
    Zeros zeros;
    zeros.real = isolate_real_zeros(p);
    const u64 pairs = complex_pairs(static_cast<u64>(p.degree()), zeros.real.size());
    if (pairs == 0) return zeros;
    const SturmSequence real = SturmSequence::generate(p);
    const Dyadic bound = Dyadic::scaled(1, p.zero_bound());
    const auto shared = std::make_shared<const IntegerPolynomial>(p);
    Subdivision subdivision(p, real);
    for (const Rectangle& r : subdivision.run({-bound, bound, Dyadic{0, 0}, bound}, pairs)) {
        ComplexZero zero{shared, r, 1, subdivision.start_of(r)};
        // Away from the axis and from the edges that it shares.
        Dyadic width = r.x1 - r.x0 < r.y1 - r.y0 ? r.x1 - r.x0 : r.y1 - r.y0;
        while (!(r.x0 < zero.box.x0 && zero.box.x1 < r.x1 && r.y0 < zero.box.y0 && zero.box.y1 < r.y1)) {
            width = width.half();
            zero.refine(width);
        }
        zeros.complex.push_back(std::move(zero));
    }
    return zeros;
}

Zeros isolate_zeros(const IntegerPolynomial& p, Remarks* remarks) {
    Zeros all;
    for (const PolynomialPower& power : square_free_factors(p)) {
        Zeros zeros = isolate_zeros_square_free(power.factor, remarks);
        for (RealZero& zero : zeros.real) {
            zero.multiplicity = power.multiplicity;
            all.real.push_back(std::move(zero));
        }
        for (ComplexZero& zero : zeros.complex) {
            zero.multiplicity = power.multiplicity;
            all.complex.push_back(std::move(zero));
        }
    }
    // Zeros of different factors differ, so their regions come apart.
    for (u64 i = 0; i < all.real.size(); i++) {
        for (u64 j = 0; j < i; j++) {
            RealZero &a = all.real[i], &b = all.real[j];
            while (a.low <= b.high && b.low <= a.high) {
                a.halve();
                b.halve();
            }
        }
    }
    for (u64 i = 0; i < all.complex.size(); i++) {
        for (u64 j = 0; j < i; j++) {
            ComplexZero &a = all.complex[i], &b = all.complex[j];
            while (a.box.touches(b.box)) {
                for (ComplexZero* zero : {&a, &b}) {
                    const Rectangle& r = zero->box;
                    const Dyadic side = r.x1 - r.x0 < r.y1 - r.y0 ? r.x1 - r.x0 : r.y1 - r.y0;
                    zero->refine(side.half());
                }
            }
        }
    }
    std::sort(all.real.begin(), all.real.end(),
              [](const RealZero& a, const RealZero& b) { return a.low < b.low; });
    return all;
}

}  // namespace kalvor::Polynomials
