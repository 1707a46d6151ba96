// How far a computed value may be from the true one, and how that grows from step to step.
//
// Bounds are powers of two, always rounded up. Their exponents are kept in words and bits, because a number's
// word exponent reaches 2^61.
#pragma once

#include <compare>
#include <initializer_list>
#include <span>

#include "arith/bigfloat/big_float.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// 2^(64 words + bits), bits < 64. Exponents beyond 2^62 words either way are taken for these.
struct PowerOfTwo {
    i64 words = 0;
    u32 bits = 0;

    auto operator<=>(const PowerOfTwo&) const = default;
    PowerOfTwo operator*(const PowerOfTwo& other) const;
    PowerOfTwo inverse() const;
    // This times 2^bits.
    PowerOfTwo shifted(i64 n) const;
};
// The powers of two around |A|, A != 0: at_least <= |A| < above.
PowerOfTwo at_least(const BigFloat& A);
PowerOfTwo above(const BigFloat& A);

// |computed - true| <= limit, or the value is exact.
struct ErrorBound {
    bool exact = true;
    PowerOfTwo limit = {};

    static ErrorBound none() { return {}; }
    // Nothing is known of the value.
    static ErrorBound unlimited();
    static ErrorBound within(const PowerOfTwo& limit) { return {false, limit}; }
    // The bound of a result of p words with an error of at most 2^bits units of the last word. If the result
    // is zero, cancellation has left nothing of it, so the bound is unlimited.
    static ErrorBound of_words(const BigFloat& A, u64 p, u32 bits);

    bool is_unlimited() const;
    // That of a sum or difference of two values.
    ErrorBound operator+(const ErrorBound& other) const;
    // That of a sum of many values: + from term to term would lose a bit with each.
    static ErrorBound sum(std::span<const ErrorBound> terms);
    static ErrorBound sum(std::initializer_list<ErrorBound> terms) {
        return sum(std::span<const ErrorBound>(terms.begin(), terms.size()));
    }
    // That of the value times 2^bits, and times a word.
    ErrorBound shifted(i64 bits) const;
    ErrorBound times_word(Word w) const;
};

// Errors that are added up one by one. + would round up to a power of two each time, which loses a bit a
// term.
class ErrorSum {
  public:
    void add(const ErrorBound& error);
    ErrorBound total() const;

  private:
    ErrorBound largest_ = ErrorBound::none();
    u64 count_ = 0;
};

// A number as it was computed, with its bound.
struct Approximation {
    const BigFloat& value;
    ErrorBound error;
};

// The errors of a product of many factors, as shares of their values: product_error() from factor to factor
// would double the bound with each.
class ShareSum {
  public:
    // The error of a factor, or of a rounding of the product.
    void add(const Approximation& x);
    // The bound of the product T; unlimited once a factor may be zero, or the shares are not small.
    ErrorBound of(const BigFloat& T) const;

  private:
    ErrorSum shares_;
};

// The smaller of two bounds of one error.
ErrorBound tighter(const ErrorBound& x, const ErrorBound& y);

// What the errors of the operands make of an operation that is done exactly. Its own rounding is added to
// that (of_words).
ErrorBound product_error(const Approximation& x, const Approximation& y);
// x / y; unlimited where y may be zero.
ErrorBound quotient_error(const Approximation& x, const Approximation& y);
// T = x^n, n != 0.
ErrorBound power_error(const BigFloat& T, const Approximation& x, i64 n);
// T = x^(1/n) or x^(-1/n), n >= 2.
ErrorBound root_error(const BigFloat& T, const Approximation& x);
// T = AGM(x, y).
ErrorBound mean_error(const BigFloat& T, const Approximation& x, const Approximation& y);
// ln x.
ErrorBound logarithm_error(const Approximation& x);

// Digits behind the decimal point that an error leaves right; as many as there are for an exact value.
u64 certain_decimal_digits(const ErrorBound& error);

}  // namespace kalvor
