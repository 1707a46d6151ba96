#include "constants/evaluator/error_bound.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace kalvor {

namespace {

// The sum of two and a carry is still a word exponent.
constexpr i64 kMostWords = (i64(1) << 62) - 1;
constexpr i64 kWordBits = 64;

PowerOfTwo clamped(i64 words, u32 bits) {
    if (words >= kMostWords) return {kMostWords, 0};
    if (words < -kMostWords) return {-kMostWords, 0};
    return {words, bits};
}

// The bits of a word: 2^(n - 1) <= w < 2^n.
i64 bits_of(Word w) {
    return std::bit_width(w);
}

// A power of two that the error is at most of the value; unlimited where it may be half of it or more.
ErrorBound relative(const Approximation& x) {
    if (x.error.exact) return ErrorBound::none();
    if (x.value.L == 0) return ErrorBound::unlimited();
    const PowerOfTwo share = x.error.limit * at_least(x.value).inverse();
    return share < PowerOfTwo{}.shifted(-1) ? ErrorBound::within(share) : ErrorBound::unlimited();
}

ErrorBound share_of(const BigFloat& T, const ErrorBound& share) {
    if (share.exact || share.is_unlimited()) return share;
    return T.L == 0 ? ErrorBound::unlimited() : ErrorBound::within(above(T) * share.limit);
}

// |A| error
ErrorBound scaled(const BigFloat& A, const ErrorBound& error) {
    if (error.exact || A.L == 0) return ErrorBound::none();
    return error.is_unlimited() ? error : ErrorBound::within(above(A) * error.limit);
}

}  // namespace

PowerOfTwo PowerOfTwo::operator*(const PowerOfTwo& other) const {
    const u32 sum = bits + other.bits;
    return clamped(words + other.words + (sum >= kWordBits ? 1 : 0), sum % kWordBits);
}

PowerOfTwo PowerOfTwo::inverse() const {
    return bits == 0 ? clamped(-words, 0) : clamped(-words - 1, kWordBits - bits);
}

PowerOfTwo PowerOfTwo::shifted(i64 n) const {
    const i64 rest = n & (kWordBits - 1);
    return *this * PowerOfTwo{(n - rest) / kWordBits, static_cast<u32>(rest)};
}

PowerOfTwo at_least(const BigFloat& A) {
    return PowerOfTwo{A.mag() - 1, 0}.shifted(bits_of(A.T[A.L - 1]) - 1);
}

PowerOfTwo above(const BigFloat& A) {
    return at_least(A).shifted(1);
}

ErrorBound ErrorBound::unlimited() {
    return within({kMostWords, 0});
}

bool ErrorBound::is_unlimited() const {
    return !exact && limit.words >= kMostWords;
}

ErrorBound ErrorBound::of_words(const BigFloat& A, u64 p, u32 bits) {
    if (A.L == 0) return unlimited();
    return within(PowerOfTwo{A.mag() - static_cast<i64>(p), 0}.shifted(bits));
}

ErrorBound ErrorBound::operator+(const ErrorBound& other) const {
    if (exact) return other;
    if (other.exact) return *this;
    return within(std::max(limit, other.limit).shifted(1));
}

// n terms of at most the largest of them.
ErrorBound ErrorBound::sum(std::span<const ErrorBound> terms) {
    ErrorBound all;
    u64 n = 0;
    for (const ErrorBound& term : terms) {
        if (term.exact) continue;
        if (term.is_unlimited()) return term;
        all = within(n++ == 0 ? term.limit : std::max(all.limit, term.limit));
    }
    return n < 2 ? all : all.shifted(static_cast<i64>(std::bit_width(n - 1)));
}

void ErrorSum::add(const ErrorBound& error) {
    if (error.exact || largest_.is_unlimited()) return;
    count_++;
    largest_ = largest_.exact || error.is_unlimited()
                   ? error
                   : ErrorBound::within(std::max(largest_.limit, error.limit));
}

ErrorBound ErrorSum::total() const {
    return count_ == 0 ? largest_ : largest_.shifted(static_cast<i64>(std::bit_width(count_ - 1)));
}

void ShareSum::add(const Approximation& x) {
    shares_.add(relative(x));
}

// With D the sum of the shares, the product of all (1 + d) differs from 1 by at most 2 D where D <= 1/2.
ErrorBound ShareSum::of(const BigFloat& T) const {
    const ErrorBound sum = shares_.total();
    if (sum.exact || sum.is_unlimited()) return sum;
    if (PowerOfTwo{}.shifted(-1) < sum.limit) return ErrorBound::unlimited();
    return share_of(T, sum.shifted(1));
}

ErrorBound tighter(const ErrorBound& x, const ErrorBound& y) {
    if (x.exact || y.exact) return ErrorBound::none();
    return ErrorBound::within(std::min(x.limit, y.limit));
}

ErrorBound ErrorBound::shifted(i64 bits) const {
    return exact || is_unlimited() ? *this : within(limit.shifted(bits));
}

ErrorBound ErrorBound::times_word(Word w) const {
    return w == 0 ? none() : shifted(bits_of(w));
}

ErrorBound product_error(const Approximation& x, const Approximation& y) {
    ErrorBound error = scaled(x.value, y.error) + scaled(y.value, x.error);
    if (!x.error.exact && !y.error.exact) {
        error = error + (x.error.is_unlimited() || y.error.is_unlimited()
                             ? ErrorBound::unlimited()
                             : ErrorBound::within(x.error.limit * y.error.limit));
    }
    return error;
}

// |x/y - X/Y| = |x (Y - y) - y (X - x)| / |y Y|, and |Y| > |y| / 2.
ErrorBound quotient_error(const Approximation& x, const Approximation& y) {
    if (y.value.L == 0 || relative(y).is_unlimited()) return ErrorBound::unlimited();
    const ErrorBound sum = scaled(x.value, y.error) + scaled(y.value, x.error);
    if (sum.exact || sum.is_unlimited()) return sum;
    const PowerOfTwo inverse = at_least(y.value).inverse();
    return ErrorBound::within(sum.limit * inverse * inverse).shifted(y.error.exact ? 0 : 1);
}

// (1 + d)^n differs from 1 by at most 2 |n d| where |n d| <= 1/2.
ErrorBound power_error(const BigFloat& T, const Approximation& x, i64 n) {
    const u64 degree = n < 0 ? 0 - static_cast<u64>(n) : static_cast<u64>(n);
    const ErrorBound share = relative(x);
    if (share.exact || share.is_unlimited()) return share;
    const ErrorBound whole = share.times_word(degree);
    if (PowerOfTwo{}.shifted(-1) < whole.limit) return ErrorBound::unlimited();
    return share_of(T, whole.shifted(1));
}

// (1 + d)^(+-1/n) differs from 1 by at most |d| where |d| <= 1/2.
ErrorBound root_error(const BigFloat& T, const Approximation& x) {
    return share_of(T, relative(x));
}

// AGM(c a, c b) = c AGM(a, b), and it grows with a and b.
ErrorBound mean_error(const BigFloat& T, const Approximation& x, const Approximation& y) {
    const ErrorBound a = relative(x), b = relative(y);
    if (a.exact) return share_of(T, b);
    if (b.exact) return share_of(T, a);
    return share_of(T, ErrorBound::within(std::max(a.limit, b.limit)));
}

// |ln(1 + d)| <= 2 |d| where |d| <= 1/2.
ErrorBound logarithm_error(const Approximation& x) {
    return relative(x).shifted(1);
}

u64 certain_decimal_digits(const ErrorBound& error) {
    constexpr u64 kAll = std::numeric_limits<u64>::max();
    if (error.exact) return kAll;
    if (error.limit.words >= 0) return 0;
    // log10(2), rounded down.
    constexpr u64 kNumerator = 301029995663981195, kDenominator = 1000000000000000000;
    const u128 bits = u128(static_cast<u64>(-error.limit.words)) * kWordBits - error.limit.bits;
    // bits < 2^68, and the product is below 2^127.
    const u128 digits = bits * kNumerator / kDenominator;
    return digits > kAll ? kAll : static_cast<u64>(digits);
}

}  // namespace kalvor
