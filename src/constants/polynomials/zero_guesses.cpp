#include "constants/polynomials/zero_guesses.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kalvor::Polynomials {
namespace {

// (re + i im) 2^exponent with max(|re|, |im|) in [1/2, 1), or 0: complex numbers in double precision whose
// exponents do not overflow.
struct Float {
    double re = 0, im = 0;
    i64 exponent = 0;

    bool is_zero() const { return re == 0 && im == 0; }
    Float normalized() const {
        if (is_zero()) return {};
        int e;
        (void)std::frexp(std::max(std::fabs(re), std::fabs(im)), &e);
        return {std::ldexp(re, -e), std::ldexp(im, -e), exponent + e};
    }
    friend Float operator*(const Float& a, const Float& b) {
        return Float{a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re, a.exponent + b.exponent}
            .normalized();
    }
    friend Float operator/(const Float& a, const Float& b) {
        const double norm = b.re * b.re + b.im * b.im;
        return Float{(a.re * b.re + a.im * b.im) / norm, (a.im * b.re - a.re * b.im) / norm,
                     a.exponent - b.exponent}
            .normalized();
    }
    friend Float operator+(const Float& a, const Float& b) {
        if (a.is_zero()) return b;
        if (b.is_zero()) return a;
        const i64 e = std::max(a.exponent, b.exponent);
        const int da = static_cast<int>(std::max<i64>(a.exponent - e, -2000));
        const int db = static_cast<int>(std::max<i64>(b.exponent - e, -2000));
        return Float{std::ldexp(a.re, da) + std::ldexp(b.re, db), std::ldexp(a.im, da) + std::ldexp(b.im, db),
                     e}
            .normalized();
    }
    Float operator-() const { return {-re, -im, exponent}; }
    // The magnitude is between 2^(exponent - 1) and 2^(exponent + 1/2).
};

Float to_float(const ComplexInt& n, i64 exponent) {
    const i64 bits = static_cast<i64>(std::max(n.re.bit_length(), n.im.bit_length()));
    const u64 shift = bits > 60 ? static_cast<u64>(bits - 60) : 0;
    const auto part = [&](const SimpleInt& x) {
        const SimpleInt top = x >> shift;
        return top.is_zero() ? 0.0 : top.sign() * static_cast<double>(top.words()[0]);
    };
    return Float{part(n.re), part(n.im), exponent + static_cast<i64>(shift)}.normalized();
}

SimpleInt to_simple_int(double x, i64 exponent) {
    const double scaled = std::ldexp(x, 53);
    const SimpleInt n(static_cast<i64>(scaled));
    const i64 e = exponent - 53;
    return e >= 0 ? n << static_cast<u64>(e) : n >> static_cast<u64>(-e);
}

// An approximation n / 2^k on its way to a zero.
struct Guess {
    ComplexInt n;
    u64 k = 0;
    bool settled = false;
};

Float difference(const Guess& a, const Guess& b) {
    const u64 k = std::max(a.k, b.k);
    return to_float((a.n << (k - a.k)) - (b.n << (k - b.k)), -static_cast<i64>(k));
}

// Moves by -w, with bits enough to show it.
void move(Guess& z, const Float& w) {
    const i64 need = 24 - w.exponent;
    if (need > static_cast<i64>(z.k)) {
        z.n = z.n << (static_cast<u64>(need) - z.k);
        z.k = static_cast<u64>(need);
    }
    const i64 k = static_cast<i64>(z.k);
    z.n.re -= to_simple_int(w.re, w.exponent + k);
    z.n.im -= to_simple_int(w.im, w.exponent + k);
}

double log2_magnitude(const SimpleInt& n) {
    const ScaledDoubleDouble x = n.to_double_double();
    return std::log2(std::fabs(x.mantissa.high)) + static_cast<double>(x.exponent);
}

// Circles whose radii are the slopes of the upper hull of the points (i, log2 |c_i|): about as many zeros lie
// near each as the edge is long.
std::vector<Guess> starting_points(const IntegerPolynomial& p) {
    const std::vector<SimpleInt>& c = p.coefficients();
    std::vector<u64> hull;
    std::vector<double> height(c.size());
    for (u64 i = 0; i < c.size(); i++) {
        if (c[i].is_zero()) continue;
        height[i] = log2_magnitude(c[i]);
        const auto slope = [&](u64 a, u64 b) { return (height[b] - height[a]) / static_cast<double>(b - a); };
        while (hull.size() >= 2 && slope(hull[hull.size() - 2], hull.back()) <= slope(hull.back(), i)) {
            hull.pop_back();
        }
        hull.push_back(i);
    }
    std::vector<Guess> points;
    for (u64 edge = 0; edge + 1 < hull.size(); edge++) {
        const u64 from = hull[edge], count = hull[edge + 1] - from;
        const double log_radius = (height[from] - height[from + count]) / static_cast<double>(count);
        const double whole = std::floor(log_radius);
        for (u64 j = 0; j < count; j++) {
            // The offset keeps the points off the axes and apart from those of the next circle.
            const double angle =
                2 * std::numbers::pi * (static_cast<double>(j) + 0.3) / static_cast<double>(count) +
                0.7 * static_cast<double>(edge) + 0.2;
            const double radius = std::exp2(log_radius - whole);
            const Float z = Float{radius * std::cos(angle), radius * std::sin(angle), static_cast<i64>(whole)}
                                .normalized();
            Guess guess;
            move(guess, -z);
            points.push_back(guess);
        }
    }
    return points;
}

// One step of the simultaneous iteration. A zero is settled when Newton's step is small beside the distance
// to the nearest other one.
void step(const IntegerPolynomial& p, const IntegerPolynomial& derivative, std::vector<Guess>& points, u64 i,
          i64 bound) {
    Guess& z = points[i];
    const ComplexInt value = p.evaluate(z.n, z.k);
    if (value.is_zero()) {
        z.settled = true;
        return;
    }
    const ComplexInt slope = derivative.evaluate(z.n, z.k);
    Float attraction;
    i64 nearest = i64(1) << 40;
    for (u64 j = 0; j < points.size(); j++) {
        if (j == i) continue;
        const Float d = difference(z, points[j]);
        if (d.is_zero()) {
            // Two in one place: a small push.
            move(z, Float{0.6, 0.5, to_float(z.n, -static_cast<i64>(z.k)).exponent - 20});
            return;
        }
        nearest = std::min(nearest, d.exponent);
        attraction = attraction + Float{1, 0, 0}.normalized() / d;
    }
    Float w;
    if (slope.is_zero()) {
        // Without a slope the others push it away; in the middle between them it is helped.
        w = attraction.is_zero() ? Float{0.6, 0.5, nearest - 3} : -Float{1, 0, 0}.normalized() / attraction;
    } else {
        const Float newton = to_float(value, -static_cast<i64>(z.k)) / to_float(slope, 0);
        const Float rest = Float{1, 0, 0}.normalized() + -(newton * attraction);
        w = rest.is_zero() ? newton : newton / rest;
        // n |p / p'| bounds the distance to a zero (Laguerre); 2^-16 of the distance to the next.
        if (newton.exponent + 6 + 16 < nearest) z.settled = true;
    }
    // No zero is further away.
    w.exponent = std::min(w.exponent, bound + 1);
    move(z, w);
}

}  // namespace

std::vector<ComplexPoint> guess_zeros(const IntegerPolynomial& p) {
    IntegerPolynomial rest = p;
    std::vector<ComplexPoint> result;
    if (p.coefficients().front().is_zero()) {
        result.push_back({});
        rest = IntegerPolynomial({p.coefficients().begin() + 1, p.coefficients().end()});
    }
    if (rest.degree() < 1) return result;
    const IntegerPolynomial derivative = rest.derivative();
    const i64 bound = rest.zero_bound();
    std::vector<Guess> points = starting_points(rest);
    // Clusters are left at the rate of a factor of 2 or 3 a step. What is not settled then is searched by
    // cutting in the middle.
    u64 steps_left = 200 * points.size() + 6000;
    for (bool moved = true; moved && steps_left != 0;) {
        moved = false;
        for (u64 i = 0; i < points.size() && steps_left != 0; i++) {
            if (points[i].settled) continue;
            step(rest, derivative, points, i, bound);
            steps_left--;
            moved = true;
        }
    }
    for (const Guess& z : points) result.push_back({Dyadic{z.n.re, z.k}, Dyadic{z.n.im, z.k}});
    return result;
}

Dyadic simple_between(const Dyadic& a, const Dyadic& b) {
    const Dyadic width = b - a;
    // A unit of half the width at most.
    const i64 e = static_cast<i64>(width.n.bit_length()) - 2 - static_cast<i64>(width.k);
    const Dyadic in_units =
        e >= 0 ? Dyadic{a.n, a.k + static_cast<u64>(e)} : Dyadic{a.n << static_cast<u64>(-e), a.k};
    return Dyadic::scaled(in_units.floor() + 1, e).reduced();
}

Dyadic simple_middle(const Dyadic& a, const Dyadic& b, u64 attempt) {
    // Sixteenths of the width; none of the ranges holds the centre, about which the zeros may lie in mirror
    // images.
    constexpr u64 kFrom[] = {7, 8, 6, 9, 5, 10, 4, 11};
    const Dyadic sixteenth = {(b - a).n, (b - a).k + 4};
    const Dyadic from = a + Dyadic{sixteenth.n * SimpleInt::from_u64(kFrom[attempt % 8]), sixteenth.k};
    // Later attempts take other numbers of the same ranges.
    const u64 narrower = attempt / 8;
    return simple_between(from, from + Dyadic{sixteenth.n, sixteenth.k + narrower});
}

}  // namespace kalvor::Polynomials
