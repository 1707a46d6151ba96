#include "arith/estimate/double_double.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "os/fma.h"

namespace trel {
namespace {

// The pair of s + e with |e| small beside s.
DoubleDouble quick_two_sum(double s, double e) {
    const double high = s + e;
    return DoubleDouble(high, e - (high - s));
}

u64 bits_of(double x) {
    return std::bit_cast<u64>(x);
}

// x * 2^k by the exponent field; zero stays zero.
double add_exponent(double x, i64 k) {
    return x == 0 ? x : std::bit_cast<double>(bits_of(x) + (u64(k) << 52));
}

constexpr std::array<double, 10> kPowersOf10 = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

u64 count_digits(std::string_view text) {
    u64 n = 0;
    while (n < text.size() && is_digit(text[n])) n++;
    return n;
}

// Digits only, in chunks of at most 9 from the front.
DoubleDouble parse_digits(std::string_view digits) {
    DoubleDouble result;
    for (u64 at = 0; at < digits.size(); at += 9) {
        const std::string_view chunk = digits.substr(at, 9);
        u32 value = 0;
        for (char c : chunk) value = value * 10 + u32(c - '0');
        result = at == 0 ? DoubleDouble(double(value))
                         : result * DoubleDouble(kPowersOf10[chunk.size()]) + DoubleDouble(double(value));
    }
    return result;
}

// 2^-107: a term this much below the sum no longer counts.
constexpr double kStop = 0x1p107;
bool negligible(const DoubleDouble& term, const DoubleDouble& sum) {
    return std::fabs(term.high) * kStop <= std::fabs(sum.high);
}

constexpr u64 kReciprocals = 68;
constexpr u64 kInverseFactorials = 32;

// 1/k for k = 1..67; entry 0 is unused.
const std::array<DoubleDouble, kReciprocals>& reciprocals() {
    static const auto table = [] {
        std::array<DoubleDouble, kReciprocals> t;
        for (u64 k = 1; k < kReciprocals; k++) t[k] = reciprocal(DoubleDouble(double(k)));
        return t;
    }();
    return table;
}

const std::array<DoubleDouble, kInverseFactorials>& inverse_factorials() {
    static const auto table = [] {
        std::array<DoubleDouble, kInverseFactorials> t;
        t[0] = t[1] = DoubleDouble(1.0);
        DoubleDouble factorial(1.0);
        for (u64 k = 2; k < kInverseFactorials; k++) {
            factorial = factorial * DoubleDouble(double(k));
            t[k] = reciprocal(factorial);
        }
        return t;
    }();
    return table;
}

// ln(1 + t), |t| <= 1/3: the alternating series; at most 67 terms.
DoubleDouble ln1p(const DoubleDouble& t) {
    const auto& inverse = reciprocals();
    const DoubleDouble q = -t;
    DoubleDouble sum = t, power = t;
    for (u64 k = 2; k < kReciprocals; k++) {
        power = power * q;
        const DoubleDouble term = power * inverse[k];
        sum = sum + term;
        if (k >= 9 && negligible(term, sum)) break;
    }
    return sum;
}

}  // namespace

DoubleDouble DoubleDouble::from_u64(u64 n) {
    const double h = double(n >> 32) * 0x1p32;
    const double l = double(n & 0xffffffff);
    const double high = l + h;
    return DoubleDouble(high, l - (high - h));
}

DoubleDouble DoubleDouble::parse(std::string_view text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) text.remove_prefix(1);
    const u64 integer_digits = count_digits(text);
    DoubleDouble result = parse_digits(text.substr(0, integer_digits));
    text.remove_prefix(integer_digits);
    if (!text.empty() && text.front() == '.') {
        text.remove_prefix(1);
        const u64 digits = count_digits(text);
        if (digits > 0) {
            const DoubleDouble scale = reciprocal(pow(DoubleDouble(10.0), i32(digits)));
            result = result + parse_digits(text.substr(0, digits)) * scale;
        }
    }
    return negative ? -result : result;
}

// Knuth's two-sum of the high parts; the low parts join its error.
DoubleDouble operator+(const DoubleDouble& a, const DoubleDouble& b) {
    const double s = a.high + b.high;
    const double v = s - a.high;
    double e = (a.high - (s - v)) + (b.high - v);
    e = e + (a.low + b.low);
    return quick_two_sum(s, e);
}

DoubleDouble operator-(const DoubleDouble& a, const DoubleDouble& b) {
    return a + -b;
}

DoubleDouble operator*(const DoubleDouble& a, const DoubleDouble& b) {
    const double p = a.high * b.high;
    const double e = os::fma(a.high, b.low, os::fma(b.high, a.low, os::fma(b.high, a.high, -p)));
    const double high = e + p;
    return DoubleDouble(high, e - (high - p));
}

bool operator<(const DoubleDouble& a, const DoubleDouble& b) {
    return a.high != b.high ? a.high < b.high : a.low < b.low;
}

// One Newton step doubles the 53 right bits of the double reciprocal.
DoubleDouble reciprocal(const DoubleDouble& a) {
    const DoubleDouble y(1.0 / a.high);
    const DoubleDouble error = a * y + DoubleDouble(-1.0);
    return y - error * y;
}

DoubleDouble pow(const DoubleDouble& a, i32 n) {
    if (n == 0) return DoubleDouble(1.0);
    const u32 m = n < 0 ? 0u - u32(n) : u32(n);
    DoubleDouble r = a;
    for (int bit = int(std::bit_width(m)) - 2; bit >= 0; bit--) {
        r = r * r;
        if (m >> bit & 1) r = r * a;
    }
    return n < 0 ? reciprocal(r) : r;
}

// x = m * 2^e with m in (2/3, 4/3].
DoubleDouble ln(const DoubleDouble& a) {
    constexpr u64 kImplicitBit = u64(1) << 52;
    constexpr u64 kFourThirds = (u64(1) << 54) / 3;  // floor(4/3 * 2^52)
    const u64 bits = bits_of(a.high);
    i64 e = i64(bits >> 52 & 0x7ff) - 1023;
    if (((bits & (kImplicitBit - 1)) | kImplicitBit) > kFourThirds) e++;
    if (e == 0) return ln1p(a - DoubleDouble(1.0));
    const double scale = add_exponent(1.0, -e);
    const DoubleDouble m(a.high * scale, a.low * scale);
    return ln1p(m - DoubleDouble(1.0)) + DoubleDouble(double(e)) * dd::ln2();
}

DoubleDouble exp(const DoubleDouble& a) {
    // Beyond the range of a double, and past the range of k's conversion to an integer.
    if (a.high < -746) return DoubleDouble(0.0);
    if (a.high > 710) return DoubleDouble(std::numeric_limits<double>::infinity());
    const double k = std::nearbyint(a.high * 1.4426950408889634);
    const DoubleDouble r = a - DoubleDouble(k) * dd::ln2();
    const auto& inverse = inverse_factorials();
    DoubleDouble sum = DoubleDouble(1.0) + r, power = r;
    for (u64 i = 2; i < kInverseFactorials; i++) {
        power = power * r;
        const DoubleDouble term = power * inverse[i];
        sum = sum + term;
        if (negligible(term, sum)) break;
    }
    // Below about -635 the low part leaves the normal numbers, below -708 the high part as well; near 710
    // both parts may overflow, and infinity has no low part.
    const double high = std::ldexp(sum.high, int(k));
    return DoubleDouble(high, std::isinf(high) ? 0.0 : std::ldexp(sum.low, int(k)));
}

DoubleDouble ln_factorial(const DoubleDouble& x) {
    return (x + DoubleDouble(0.5)) * ln(x + DoubleDouble(1.0)) - x - dd::stirling();
}

i64 round_parts(const DoubleDouble& a) {
    // The high part alone may be 2^63 with a negative low part.
    return i64(i128(std::nearbyint(a.high)) + i128(std::nearbyint(a.low)));
}

std::string digit_count_text(const DoubleDouble& nats) {
    const DoubleDouble digits = nats * dd::log10_e();
    if (digits < DoubleDouble(-0x1p63)) return "< -2^63";
    if (digits > DoubleDouble(0x1p63, -1.0)) return ">= 2^63";
    return std::to_string(round_parts(digits));
}

namespace dd {

#define TREL_DD_CONSTANT(name, text)                                 \
    const DoubleDouble& name() {                                     \
        static const DoubleDouble value = DoubleDouble::parse(text); \
        return value;                                                \
    }
TREL_DD_CONSTANT(ln2, "0.6931471805599453094172321214581765680755")
TREL_DD_CONSTANT(ln2_64, "44.36141955583649980270285577332330035683")
TREL_DD_CONSTANT(inv_ln2_64, "0.02254211001389005323999882314065456464729")
TREL_DD_CONSTANT(log10_e, "0.43429448190325182765112891891660508229439700580367")
TREL_DD_CONSTANT(stirling, "0.081061466795327258219670263594382360138602526362217")
#undef TREL_DD_CONSTANT

}  // namespace dd
}  // namespace trel
