// A pair of doubles (about 106 bits) for size estimates.
//
// Pure functions; constants and tables are made once on first use. Nothing here depends on the last bit of
// the math library.
#pragma once

#include <string>
#include <string_view>

#include "os/types.h"

namespace trel {

struct DoubleDouble {
    double low = 0;
    double high = 0;

    constexpr DoubleDouble() = default;
    constexpr DoubleDouble(double d) : low(0), high(d) {}  // NOLINT: a double is one of the values
    constexpr DoubleDouble(double high, double low) : low(low), high(high) {}
    static DoubleDouble from_u64(u64 n);
    // An optionally signed decimal number without exponent; text after the digits is ignored, an empty text
    // is 0.
    static DoubleDouble parse(std::string_view text);

    DoubleDouble operator-() const { return DoubleDouble(-high, -low); }
    friend DoubleDouble operator+(const DoubleDouble& a, const DoubleDouble& b);
    friend DoubleDouble operator-(const DoubleDouble& a, const DoubleDouble& b);
    friend DoubleDouble operator*(const DoubleDouble& a, const DoubleDouble& b);
    friend bool operator<(const DoubleDouble& a, const DoubleDouble& b);
    friend bool operator>(const DoubleDouble& a, const DoubleDouble& b) { return b < a; }
    friend bool operator<=(const DoubleDouble& a, const DoubleDouble& b) { return !(b < a); }
    friend bool operator>=(const DoubleDouble& a, const DoubleDouble& b) { return !(a < b); }
    friend bool operator==(const DoubleDouble& a, const DoubleDouble& b) {
        return a.high == b.high && a.low == b.low;
    }
};

DoubleDouble reciprocal(const DoubleDouble& a);
DoubleDouble pow(const DoubleDouble& a, i32 n);
DoubleDouble ln(const DoubleDouble& a);   // a > 0
DoubleDouble exp(const DoubleDouble& a);  // 0 below the range of a double, infinity above it
// Stirling's estimate of ln x!: (x + 0.5) ln(x + 1) - x - (1 - ln(2 pi) / 2)
DoubleDouble ln_factorial(const DoubleDouble& x);
// rint(high) + rint(low)
i64 round_parts(const DoubleDouble& a);
// A size in nats as a count of decimal digits.
std::string digit_count_text(const DoubleDouble& nats);

namespace dd {
const DoubleDouble& ln2();
const DoubleDouble& ln2_64();      // 64 ln 2: nats per word
const DoubleDouble& inv_ln2_64();  // 1 / (64 ln 2)
const DoubleDouble& log10_e();
const DoubleDouble& stirling();  // 1 - ln(2 pi) / 2
}  // namespace dd

}  // namespace trel
