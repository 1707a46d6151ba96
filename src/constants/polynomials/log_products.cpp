#include "constants/polynomials/log_products.h"

#include <cmath>

namespace kalvor::Polynomials {
namespace {

// Stirling's series with twelve terms is right to 2^-106 from this norm on.
constexpr double kStirlingFrom = 40.0 * 40.0;

struct Complex {
    DoubleDouble re, im;
};
Complex operator*(const Complex& a, const Complex& b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
DoubleDouble norm(const Complex& a) {
    return a.re * a.re + a.im * a.im;
}
DoubleDouble half(const DoubleDouble& a) {
    return a * DoubleDouble(0.5);
}
DoubleDouble quotient(const DoubleDouble& a, const DoubleDouble& b) {
    return a * reciprocal(b);
}

// The real part of the sum of B_2j / (2j (2j - 1) w^(2j-1)).
DoubleDouble tail(const Complex& w) {
    struct Bernoulli {
        double numerator, denominator;  // of B_2j / (2j (2j - 1))
    };
    static constexpr Bernoulli kTerms[] = {
        {1, 12},  {-1, 360},       {1, 1260},       {-1, 1680},        {1, 1188},     {-691, 360360},
        {1, 156}, {-3617, 122400}, {43867, 244188}, {-174611, 125400}, {77683, 5796}, {-236364091, 1506960}};
    const DoubleDouble inverse_norm = reciprocal(norm(w));
    const Complex inverse{w.re * inverse_norm, -(w.im * inverse_norm)};
    const Complex step = inverse * inverse;
    Complex power = inverse;
    DoubleDouble sum;
    for (const Bernoulli& term : kTerms) {
        sum = sum + power.re * quotient(DoubleDouble(term.numerator), DoubleDouble(term.denominator));
        power = power * step;
    }
    return sum;
}

}  // namespace

// 2 atanh(t / (2 + t)) for small t, whose series does not lose the digits that 1 + t drops.
DoubleDouble ln_one_plus(const DoubleDouble& t) {
    if (std::fabs(t.high) > 0.01) return ln(DoubleDouble(1.0) + t);
    if (t.high == 0) return t;
    const DoubleDouble s = quotient(t, DoubleDouble(2.0) + t);
    const DoubleDouble square = s * s;
    DoubleDouble sum = s, power = s;
    for (double k = 3; std::fabs(power.high) > std::fabs(sum.high) * 0x1p-110; k += 2) {
        power = power * square;
        sum = sum + quotient(power, DoubleDouble(k));
    }
    return sum + sum;
}

// Halved twice by atan t = 2 atan(t / (1 + sqrt(1 + t^2))), after which the series converges fast; 1/t
// above 1.
DoubleDouble arctangent(const DoubleDouble& t) {
    static const DoubleDouble kHalfPi = DoubleDouble::parse("1.5707963267948966192313216916397514420986");
    if (t.high == 0) return t;
    if (t.high > 1) return kHalfPi - arctangent(reciprocal(t));
    DoubleDouble x = t;
    double factor = 1;
    while (x.high > 0.05) {
        const DoubleDouble square = DoubleDouble(1.0) + x * x;
        // Newton's step for the inverse square root doubles the digits of the double one.
        const DoubleDouble estimate(1 / std::sqrt(square.high));
        const DoubleDouble inverse_root =
            estimate + half(estimate * (DoubleDouble(1.0) - square * estimate * estimate));
        x = quotient(x, DoubleDouble(1.0) + square * inverse_root);
        factor *= 2;
    }
    const DoubleDouble square = x * x;
    DoubleDouble sum = x, power = x;
    double sign = -1;
    for (double k = 3; std::fabs(power.high) > std::fabs(sum.high) * 0x1p-110; k += 2) {
        power = power * square;
        sum = sum + quotient(power, DoubleDouble(sign * k));
        sign = -sign;
    }
    return sum * DoubleDouble(factor);
}

DoubleDouble ln_rising_product(const DoubleDouble& u, const DoubleDouble& b, u64 n) {
    DoubleDouble sum;
    Complex w{u, b};
    while (n != 0 && norm(w).high < kStirlingFrom) {
        sum = sum + half(ln(norm(w)));
        w.re = w.re + DoubleDouble(1.0);
        n--;
    }
    if (n == 0) return sum;
    const DoubleDouble count = DoubleDouble::from_u64(n);
    const Complex end{w.re + count, w.im};
    const DoubleDouble start_norm = norm(w);
    // |w + n|^2 / |w|^2 - 1
    const DoubleDouble growth = quotient(count * (w.re + w.re + count), start_norm);
    sum = sum + count * half(ln(norm(end))) + (w.re - DoubleDouble(0.5)) * half(ln_one_plus(growth)) - count;
    if (b.high != 0) {
        const DoubleDouble magnitude = b.high < 0 ? -b : b;
        const DoubleDouble tangent = quotient(count * magnitude, start_norm + count * w.re);
        sum = sum + magnitude * arctangent(tangent);
    }
    return sum + tail(end) - tail(w);
}

namespace {

// From this norm on three terms of Stirling's series are right to 2^-30.
constexpr double kNearStirlingFrom = 12.0 * 12.0;

double near_tail(double re, double im) {
    const double inverse_norm = 1 / (re * re + im * im);
    const double x = re * inverse_norm, y = -im * inverse_norm;
    const double square_re = x * x - y * y, square_im = 2 * x * y;
    const double cube_re = x * square_re - y * square_im, cube_im = x * square_im + y * square_re;
    const double fifth_re = cube_re * square_re - cube_im * square_im;
    return x / 12 - cube_re / 360 + fifth_re / 1260;
}

}  // namespace

double near_ln_rising_product(double u, double b, u64 n) {
    double sum = 0;
    while (n != 0 && u * u + b * b < kNearStirlingFrom) {
        sum += std::log(u * u + b * b) / 2;
        u += 1;
        n--;
    }
    if (n == 0) return sum;
    const double count = static_cast<double>(n), end = u + count;
    const double start_norm = u * u + b * b;
    const double growth = count * (u + end) / start_norm;
    sum += count * std::log(end * end + b * b) / 2 + (u - 0.5) * std::log1p(growth) / 2 - count;
    if (b != 0) sum += std::fabs(b) * std::atan(count * std::fabs(b) / (start_norm + count * u));
    return sum + near_tail(end, b) - near_tail(u, b);
}

}  // namespace kalvor::Polynomials
