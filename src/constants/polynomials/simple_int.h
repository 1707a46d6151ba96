// Signed integers of any size for the analysis of polynomials.
//
// A sign and a magnitude in words; plain schoolbook algorithms, since the numbers have some hundred words at
// most. Values: operations return new numbers. One thread at a time per object.
#pragma once

#include <compare>
#include <concepts>
#include <string>
#include <vector>

#include "arith/estimate/double_double.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::Polynomials {

// mantissa * 2^exponent, for numbers beyond the range of a double. The mantissa is 0 or its high part has a
// magnitude of 1/2 to 1.
struct ScaledDoubleDouble {
    DoubleDouble mantissa;
    i64 exponent = 0;

    // 0 or infinity where a double cannot hold it.
    DoubleDouble value() const;
};

class SimpleInt {
  public:
    SimpleInt() = default;  // 0
    template <std::signed_integral T>
    SimpleInt(T n) {  // NOLINT: an integer is one of the values
        set(n);
    }
    static SimpleInt from_u64(u64 n);
    static SimpleInt power_of_2(u64 k);
    // Sign and magnitude, least significant word first.
    static SimpleInt from_words(bool negative, std::vector<Word> words);

    bool is_zero() const { return words_.empty(); }
    int sign() const { return words_.empty() ? 0 : negative_ ? -1 : 1; }
    // Bits of the magnitude; 0 for 0.
    u64 bit_length() const;
    // Zero bits at the low end of the magnitude; 0 for 0.
    u64 trailing_zeros() const;
    const std::vector<Word>& words() const { return words_; }

    SimpleInt operator-() const;
    SimpleInt abs() const { return sign() < 0 ? -*this : *this; }
    SimpleInt& operator+=(const SimpleInt& b) { return add_signed(b, b.negative_); }
    SimpleInt& operator-=(const SimpleInt& b) { return add_signed(b, !b.negative_); }
    friend SimpleInt operator+(SimpleInt a, const SimpleInt& b) { return std::move(a += b); }
    friend SimpleInt operator-(SimpleInt a, const SimpleInt& b) { return std::move(a -= b); }
    friend SimpleInt operator*(const SimpleInt& a, const SimpleInt& b);
    SimpleInt operator<<(u64 bits) const;
    // Toward zero.
    SimpleInt operator>>(u64 bits) const;

    struct Division;
    // Toward zero: a = quotient b + remainder with |remainder| < |b| and the sign of a. Throws
    // InvalidParametersException "Divide by zero.".
    static Division divmod(const SimpleInt& a, const SimpleInt& b);
    // Not negative; gcd(0, 0) = 0.
    static SimpleInt gcd(SimpleInt a, SimpleInt b);

    friend bool operator==(const SimpleInt& a, const SimpleInt& b) = default;
    friend std::strong_ordering operator<=>(const SimpleInt& a, const SimpleInt& b);

    // |n| modulo m, m != 0
    Word magnitude_modulo(Word m) const;
    ScaledDoubleDouble to_double_double() const;
    std::string to_string() const;

  private:
    static int compare_magnitudes(const SimpleInt& a, const SimpleInt& b);
    SimpleInt& add_signed(const SimpleInt& b, bool b_negative);
    void set(i64 n);
    void trim();

    bool negative_ = false;    // false for 0
    std::vector<Word> words_;  // top word not zero
};

struct SimpleInt::Division {
    SimpleInt quotient, remainder;
};

}  // namespace kalvor::Polynomials
