#include "constants/polynomials/simple_int.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "arith/kernels/multiply_small.h"
#include "base/errors/exceptions.h"

namespace kalvor::Polynomials {
namespace {

using Words = std::vector<Word>;

// a += b; a is at least as long.
Word add_words(Words& a, const Words& b) {
    Word carry = 0;
    for (u64 i = 0; i < a.size(); i++) {
        if (i >= b.size() && carry == 0) break;
        const u128 sum = u128(a[i]) + (i < b.size() ? b[i] : 0) + carry;
        a[i] = static_cast<Word>(sum);
        carry = static_cast<Word>(sum >> 64);
    }
    return carry;
}

// a -= b, |a| >= |b|
void sub_words(Words& a, const Words& b) {
    Word borrow = 0;
    for (u64 i = 0; i < a.size(); i++) {
        if (i >= b.size() && borrow == 0) break;
        const u128 difference = u128(a[i]) - (i < b.size() ? b[i] : 0) - borrow;
        a[i] = static_cast<Word>(difference);
        borrow = static_cast<Word>(difference >> 64) & 1;
    }
}

// Divides by one word in place; returns the remainder.
Word divide_by_word(Words& a, Word b) {
    u128 rest = 0;
    for (u64 i = a.size(); i-- > 0;) {
        rest = rest << 64 | a[i];
        a[i] = static_cast<Word>(rest / b);
        rest %= b;
    }
    return static_cast<Word>(rest);
}

// Knuth, The Art of Computer Programming 2, 4.3.1, algorithm D. `a` becomes the remainder shifted left by
// `shift`, like `b`, whose top bit is set; b has two words at least, a one word more than its number needs.
Words divide_words(Words& a, const Words& b) {
    const u64 n = b.size();
    Words quotient(a.size() - n);
    for (u64 j = quotient.size(); j-- > 0;) {
        const u128 top = u128(a[j + n]) << 64 | a[j + n - 1];
        u128 q = a[j + n] >= b[n - 1] ? u128(~Word(0)) : top / b[n - 1];
        u128 rest = top - q * b[n - 1];
        while (rest >> 64 == 0 && q * b[n - 2] > (rest << 64 | a[j + n - 2])) {
            q--;
            rest += b[n - 1];
        }
        Word carry = 0, borrow = 0;
        for (u64 i = 0; i < n; i++) {
            const u128 product = q * b[i] + carry;
            carry = static_cast<Word>(product >> 64);
            const u128 difference = u128(a[i + j]) - static_cast<Word>(product) - borrow;
            a[i + j] = static_cast<Word>(difference);
            borrow = static_cast<Word>(difference >> 64) & 1;
        }
        const u128 difference = u128(a[j + n]) - carry - borrow;
        a[j + n] = static_cast<Word>(difference);
        if (difference >> 64 != 0) {
            // One too many, which happens for about two quotients in 2^64.
            q--;
            Word c = 0;
            for (u64 i = 0; i < n; i++) {
                const u128 sum = u128(a[i + j]) + b[i] + c;
                a[i + j] = static_cast<Word>(sum);
                c = static_cast<Word>(sum >> 64);
            }
            a[j + n] += c;
        }
        quotient[j] = static_cast<Word>(q);
    }
    return quotient;
}

}  // namespace

DoubleDouble ScaledDoubleDouble::value() const {
    const int e = static_cast<int>(std::clamp<i64>(exponent, -4000, 4000));
    const double high = std::ldexp(mantissa.high, e);
    return {high, std::isinf(high) ? 0.0 : std::ldexp(mantissa.low, e)};
}

void SimpleInt::set(i64 n) {
    negative_ = n < 0;
    if (n != 0) words_ = {n < 0 ? Word(0) - static_cast<Word>(n) : static_cast<Word>(n)};
}

SimpleInt SimpleInt::from_u64(u64 n) {
    return from_words(false, {n});
}

SimpleInt SimpleInt::power_of_2(u64 k) {
    Words words(k / 64 + 1, 0);
    words.back() = Word(1) << k % 64;
    return from_words(false, std::move(words));
}

SimpleInt SimpleInt::from_words(bool negative, std::vector<Word> words) {
    SimpleInt result;
    result.negative_ = negative;
    result.words_ = std::move(words);
    result.trim();
    return result;
}

void SimpleInt::trim() {
    while (!words_.empty() && words_.back() == 0) words_.pop_back();
    if (words_.empty()) negative_ = false;
}

u64 SimpleInt::bit_length() const {
    return words_.empty() ? 0 : 64 * words_.size() - static_cast<u64>(std::countl_zero(words_.back()));
}

u64 SimpleInt::trailing_zeros() const {
    for (u64 i = 0; i < words_.size(); i++) {
        if (words_[i] != 0) return 64 * i + static_cast<u64>(std::countr_zero(words_[i]));
    }
    return 0;
}

SimpleInt SimpleInt::operator-() const {
    SimpleInt result = *this;
    result.negative_ = !negative_ && !is_zero();
    return result;
}

int SimpleInt::compare_magnitudes(const SimpleInt& a, const SimpleInt& b) {
    if (a.words_.size() != b.words_.size()) return a.words_.size() < b.words_.size() ? -1 : 1;
    for (u64 i = a.words_.size(); i-- > 0;) {
        if (a.words_[i] != b.words_[i]) return a.words_[i] < b.words_[i] ? -1 : 1;
    }
    return 0;
}

std::strong_ordering operator<=>(const SimpleInt& a, const SimpleInt& b) {
    if (a.sign() != b.sign()) return a.sign() <=> b.sign();
    const int order = SimpleInt::compare_magnitudes(a, b);
    return (a.negative_ ? -order : order) <=> 0;
}

SimpleInt& SimpleInt::add_signed(const SimpleInt& b, bool b_negative) {
    if (b.is_zero()) return *this;
    if (&b == this) return add_signed(SimpleInt(b), b_negative);
    if (is_zero()) {
        words_ = b.words_;
        negative_ = b_negative;
        return *this;
    }
    if (negative_ == b_negative) {
        if (words_.size() < b.words_.size()) words_.resize(b.words_.size(), 0);
        const Word carry = add_words(words_, b.words_);
        if (carry != 0) words_.push_back(carry);
        return *this;
    }
    if (compare_magnitudes(*this, b) >= 0) {
        sub_words(words_, b.words_);
    } else {
        Words difference = b.words_;
        sub_words(difference, words_);
        words_ = std::move(difference);
        negative_ = b_negative;
    }
    trim();
    return *this;
}

SimpleInt operator*(const SimpleInt& a, const SimpleInt& b) {
    SimpleInt result;
    if (a.is_zero() || b.is_zero()) return result;
    result.negative_ = a.negative_ != b.negative_;
    result.words_.assign(a.words_.size() + b.words_.size(), 0);
    const SimpleInt &longer = a.words_.size() >= b.words_.size() ? a : b, &shorter = &longer == &a ? b : a;
    mul_basecase(result.words_.data(), longer.words_.data(), longer.words_.size(), shorter.words_.data(),
                 shorter.words_.size());
    result.trim();
    return result;
}

SimpleInt SimpleInt::operator<<(u64 bits) const {
    if (is_zero() || bits == 0) return *this;
    const u64 whole = bits / 64, part = bits % 64;
    SimpleInt result;
    result.negative_ = negative_;
    result.words_.assign(words_.size() + whole + 1, 0);
    for (u64 i = 0; i < words_.size(); i++) {
        result.words_[i + whole] |= words_[i] << part;
        if (part != 0) result.words_[i + whole + 1] = words_[i] >> (64 - part);
    }
    result.trim();
    return result;
}

SimpleInt SimpleInt::operator>>(u64 bits) const {
    const u64 whole = bits / 64, part = bits % 64;
    SimpleInt result;
    if (whole >= words_.size()) return result;
    result.negative_ = negative_;
    result.words_.assign(words_.begin() + static_cast<std::ptrdiff_t>(whole), words_.end());
    if (part != 0) {
        for (u64 i = 0; i < result.words_.size(); i++) {
            const Word above = i + 1 < result.words_.size() ? result.words_[i + 1] << (64 - part) : 0;
            result.words_[i] = result.words_[i] >> part | above;
        }
    }
    result.trim();
    return result;
}

SimpleInt::Division SimpleInt::divmod(const SimpleInt& a, const SimpleInt& b) {
    if (b.is_zero()) throw InvalidParametersException("SimpleInt::divmod()", "Divide by zero.");
    if (compare_magnitudes(a, b) < 0) return {SimpleInt(), a};
    const bool negative = a.negative_ != b.negative_;
    if (b.words_.size() == 1) {
        Words quotient = a.words_;
        const Word rest = divide_by_word(quotient, b.words_[0]);
        return {from_words(negative, std::move(quotient)), from_words(a.negative_, {rest})};
    }
    const u64 shift = static_cast<u64>(std::countl_zero(b.words_.back()));
    Words rest = (a << shift).words_;
    rest.resize(a.words_.size() + 1, 0);
    Words quotient = divide_words(rest, (b << shift).words_);
    return {from_words(negative, std::move(quotient)), from_words(a.negative_, std::move(rest)) >> shift};
}

// Euclid's algorithm.
SimpleInt SimpleInt::gcd(SimpleInt a, SimpleInt b) {
    while (!b.is_zero()) {
        SimpleInt rest = divmod(a, b).remainder;
        a = std::move(b);
        b = std::move(rest);
    }
    return a.abs();
}

Word SimpleInt::magnitude_modulo(Word m) const {
    u128 rest = 0;
    for (u64 i = words_.size(); i-- > 0;) rest = (rest << 64 | words_[i]) % m;
    return static_cast<Word>(rest);
}

// The upper 128 bits, of which a double-double holds some 106.
ScaledDoubleDouble SimpleInt::to_double_double() const {
    if (is_zero()) return {};
    const u64 bits = bit_length();
    const SimpleInt top = bits > 128 ? *this >> (bits - 128) : *this << (128 - bits);
    DoubleDouble m = DoubleDouble::from_u64(top.words_[1]) * DoubleDouble(0x1p-64) +
                     DoubleDouble::from_u64(top.words_[0]) * DoubleDouble(0x1p-128);
    return {negative_ ? -m : m, static_cast<i64>(bits)};
}

std::string SimpleInt::to_string() const {
    if (is_zero()) return "0";
    constexpr Word kChunk = 10000000000000000000ull;
    std::string text;
    Words rest = words_;
    while (!rest.empty()) {
        std::string digits = std::to_string(divide_by_word(rest, kChunk));
        while (!rest.empty() && rest.back() == 0) rest.pop_back();
        if (!rest.empty()) digits.insert(0, 19 - digits.size(), '0');
        text.insert(0, digits);
    }
    return negative_ ? "-" + text : text;
}

}  // namespace kalvor::Polynomials
