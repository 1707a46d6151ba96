#include "arith/bigfloat/big_float.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>

#include "arith/bigfloat/number_check.h"
#include "arith/kernels/multiply_small.h"
#include "arith/kernels/shoup_divider.h"
#include "arith/kernels/word_array.h"
#include "arith/multiply/dispatch.h"
#include "arith/multiply/product_check.h"
#include "arith/residue/carried.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/errors/fatal.h"

namespace trel {
namespace {

// Products with an operand below this many words go to the schoolbook directly, past the dispatcher.
constexpr u64 kBasecaseWords = 10;

PlacedWords placed(const BigFloat& A) {
    return {A.T, A.L, A.exp};
}

void check_capacity(const BigFloat& T, u64 used, u64 needed, const char* function) {
    if (used + needed > T.buffer_size) throw BufferTooSmallException(function, T.buffer_size, used + needed);
}
// For results written from the buffer's start.
void start_result(BigFloat& T, u64 needed, const char* function) {
    check_capacity(T, 0, needed, function);
    T.T = T.buffer;
}
u64 offset_in_buffer(const BigFloat& T) {
    return static_cast<u64>(T.T - T.buffer);
}

// The residue of |A| without the words below `bottom`.
u64 magnitude_residue(const ParallelContext& parallel, const BigFloat& A, i64 bottom) {
    const u64 r = carried::sub(A.residue, A.residue_between(parallel, A.exp, bottom));
    return A.sign ? r : carried::neg(r);
}

// T = A + B or A - B, given B's sign as it enters the sum.
void add_signed(BigFloat& T, u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B,
                bool sign_B) {
    constexpr const char* function = "BigFloat::add_signed()";
    if (is_zero(A, function)) {
        T.set_BigFloat(p, parallel, B);
        if (T.L != 0) T.set_sign(sign_B);
        return;
    }
    if (is_zero(B, function)) {
        T.set_BigFloat(p, parallel, A);
        return;
    }
    if (A.sign == sign_B) {
        T.set_uadd(p, parallel, A, B);
        return T.set_sign(A.sign);
    }
    const int order = cmp_magnitude(A, B);
    if (order == 0) {
        // Equal words with residues that are not.
        const u64 entering = sign_B == B.sign ? B.residue : carried::neg(B.residue);
        const u64 rest = carried::add(A.residue, entering);
        if (carried::known(rest) && rest != 0) {
            number_is_damaged(function, "one of two equal numbers", A.L, A.residue, carried::neg(entering));
        }
        T.clear();
    } else if (order > 0) {
        T.set_usub(p, parallel, A, B);
        if (T.L != 0) T.set_sign(A.sign);
    } else {
        T.set_usub(p, parallel, B, A);
        if (T.L != 0) T.set_sign(!A.sign);
    }
}

// Strips zero words from the top; a result of zero gets exponent 0 and sign true.
void normalize_difference(BigFloat& T, const ParallelContext& parallel) {
    T.L = bp_nonzero_length(T.T, T.L, parallel);
    if (T.L == 0) {
        T.exp = 0;
        T.sign = true;
    }
}

// The residue of the quotient by a word that the modulus does not divide: (dividend - remainder 2^(64 exp)) /
// divisor, the remainder with the dividend's sign.
u64 quotient_residue(u64 dividend, Word remainder, i64 exp, bool sign, Word divisor) {
    if (!carried::known(dividend)) return carried::kNone;
    const u64 exact = carried::sub(dividend, carried::of_word(remainder, exp, sign));
    return carried::mul(exact, goldilocks::inverse(goldilocks::of_word(divisor)));
}

// T[0..TL) = A[0..L) / 2^k, A placed at the top of T; 0 <= k < 64, TL >= L >= 1. Returns the remainder, which
// is what A's lowest word loses if T has no word below it.
Word divide_power_of_two(Word* T, u64 TL, const Word* A, u64 L, int k, const ParallelContext& parallel) {
    std::fill_n(T, TL - L, 0);
    Word* top = T + (TL - L);
    if (k == 0) {
        bp_copy(top, A, L * sizeof(Word), parallel);
        return 0;
    }
    // A * 2^(64 - k) is the quotient one word higher; its lowest word is the fraction.
    const Word scale = Word(1) << (64 - k);
    if (TL > L) {
        top[L - 1] = bp_mul_uW(top - 1, A, L, scale, 0, parallel);
        return 0;
    }
    top[L - 1] = bp_mul_uW(top, A + 1, L - 1, scale, A[0] >> k, parallel);
    return A[0] & ((Word(1) << k) - 1);
}

struct ProductOperands {
    BigFloat A, B;
    u64 n;     // words of the whole product
    u64 kept;  // words of the result before a zero top word goes
    u64 dropped;
};

ProductOperands product_operands(const ParallelContext& parallel, const char* operation, u64 p,
                                 const BigFloat& A, const BigFloat& B) {
    take_up(parallel, operation, A);
    take_up(parallel, operation, B);
    ProductOperands o{A.kept(parallel, p + 2), B.kept(parallel, p + 2), 0, 0, 0};
    o.n = o.A.L + o.B.L;
    o.kept = std::min(o.n, p + 2);
    o.dropped = o.n - o.kept;
    return o;
}

// What the operands carry, of their words alone.
Carried carried_by(const ProductOperands& o) {
    return {carried::unplaced(o.A.residue, o.A.exp, o.A.sign),
            carried::unplaced(o.B.residue, o.B.exp, o.B.sign)};
}

// The place of a product whose kept words stand in T.T, and its residue. Of a whole product that follows from
// the operands'; of a truncated one it is that of the words, which the product's own check has seen.
void finish_product(const ParallelContext& parallel, const char* operation, BigFloat& T,
                    const ProductOperands& o, u64 words_residue) {
    T.sign = o.A.sign == o.B.sign;
    T.exp = o.A.exp + o.B.exp + static_cast<i64>(o.dropped);
    T.L = T.T[o.kept - 1] == 0 ? o.kept - 1 : o.kept;
    T.residue = o.dropped == 0 ? carried::mul(o.A.residue, o.B.residue) : carried::kNone;
    if (!carried::known(T.residue)) T.residue = carried::placed(words_residue, T.exp, T.sign);
    if (!carried::known(T.residue)) T.seal(parallel);
    hand_over(operation, T);
}

void multiply_word_by_word(Word* T, Word a, Word b) {
    const u128 product = static_cast<u128>(a) * b;
    T[0] = static_cast<Word>(product);
    T[1] = static_cast<Word>(product >> 64);
}

}  // namespace

u64 BigFloat::computed_residue(const ParallelContext& parallel) const {
    return goldilocks::of_words(parallel, T, L, exp, sign);
}

u64 BigFloat::residue_between(const ParallelContext& parallel, i64 low, i64 high) const {
    low = std::max(low, exp);
    high = std::min(high, mag());
    if (low >= high) return 0;
    return goldilocks::of_words(parallel, T + (low - exp), static_cast<u64>(high - low), low, sign);
}

void BigFloat::set_sign(bool positive) {
    if (sign != positive) residue = carried::neg(residue);
    sign = positive;
}

void BigFloat::move(i64 words) {
    exp += words;
    residue = carried::times_words(residue, words);
}

void check_number(const BigFloat& A, const char* operation, const char* role) {
    if (!carried::known(A.residue)) return;
    const u64 found = A.L == 0 ? 0 : A.computed_residue(serial_context());
    if (found != A.residue) number_is_damaged(operation, role, A.L, A.residue, found);
}

void words_are_lost(const BigFloat& A, const char* operation) {
    number_is_damaged(operation, "a number without words", 0, A.residue, 0);
}

void BigFloat::verify(const ParallelContext& parallel, const char* name) const {
    if (!carried::known(residue)) return;
    parallel.stage("number", T, L * sizeof(Word));
    const u64 found = computed_residue(parallel);
    if (parallel.run != nullptr) parallel.run->checks.numbers.fetch_add(1, std::memory_order_relaxed);
    if (found != residue) number_is_damaged("BigFloat::verify()", name, L, residue, found);
}

void BigFloat::set_BigFloat(u64 p, const ParallelContext& parallel, const BigFloat& A) {
    constexpr const char* function = "BigFloat::set_BigFloat()";
    if (is_zero(A, function)) return clear();
    take_up(parallel, function, A);
    const BigFloat source = A.kept(parallel, p + 2);
    start_result(*this, source.L, function);
    bp_copy(T, source.T, source.L * sizeof(Word), parallel);
    L = source.L;
    exp = source.exp;
    sign = source.sign;
    residue = source.residue;
    hand_over(function, *this);
}

void BigFloat::set_double(double x, i64 e) {
    if (x == 0) return clear();
    const u64 bits = std::bit_cast<u64>(x);
    const u64 biased = (bits >> 52) & 0x7ff;
    if (biased == 0x7ff) throw InvalidParametersException("BigFloat::set_double()", "Value is not finite.");
    u64 mantissa = bits & ((u64(1) << 52) - 1);
    if (biased != 0) mantissa += u64(1) << 52;
    const i64 shift = static_cast<i64>(biased != 0 ? biased : 1) - 1075;

    const u128 value = static_cast<u128>(mantissa) << (shift & 63);
    const Word low = static_cast<Word>(value);
    const Word high = static_cast<Word>(value >> 64);
    start_result(*this, 1, "BigFloat::set_double()");
    // The shift may fill a second word; a zero low word does not belong to the number.
    if (low != 0 && high != 0) check_capacity(*this, 0, 2, "BigFloat::mul_uW()");
    sign = (bits >> 63) == 0;
    exp = e + (shift >> 6);
    L = 1;
    T[0] = low;
    if (low == 0) {
        T[0] = high;
        exp++;
    } else if (high != 0) {
        T[1] = high;
        L = 2;
    }
    seal(serial_context());
}

void BigFloat::set_uadd(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B) {
    constexpr const char* function = "BigFloat::set_uadd()";
    if (is_zero(A, function) || is_zero(B, function)) {
        set_BigFloat(p, parallel, A.L == 0 ? B : A);
        if (L != 0) set_sign(true);
        return;
    }
    take_up(parallel, function, A);
    take_up(parallel, function, B);
    const i64 top = std::max(A.mag(), B.mag());
    const i64 bottom = std::max(top - static_cast<i64>(p + 1), std::min(A.exp, B.exp));
    const u64 length = static_cast<u64>(top - bottom);
    start_result(*this, length + 1, function);
    const u64 r =
        carried::add(magnitude_residue(parallel, A, bottom), magnitude_residue(parallel, B, bottom));
    L = length;
    exp = bottom;
    sign = true;
    if (bp_add(T, placed(A), placed(B), 0, bottom, top, parallel) != 0) T[L++] = 1;
    residue = r;
    hand_over(function, *this);
}

void BigFloat::set_usub(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B) {
    constexpr const char* function = "BigFloat::set_usub()";
    if (is_zero(B, function)) {
        set_BigFloat(p, parallel, A);
        if (L != 0) set_sign(true);
        return;
    }
    take_up(parallel, function, A);
    take_up(parallel, function, B);
    const i64 top = A.L == 0 ? B.mag() : std::max(A.mag(), B.mag());
    const i64 lowest = A.L == 0 ? B.exp : std::min(A.exp, B.exp);
    const i64 bottom = std::max(top - static_cast<i64>(p + 1), lowest);
    const u64 length = static_cast<u64>(top - bottom);
    start_result(*this, length, function);
    const u64 r =
        carried::sub(magnitude_residue(parallel, A, bottom), magnitude_residue(parallel, B, bottom));
    L = length;
    exp = bottom;
    sign = true;
    if (bp_sub(T, placed(A), placed(B), 0, bottom, top, parallel) != 0) {
        throw UnsupportedNegativeException(function, "A negative value was encountered.");
    }
    normalize_difference(*this, parallel);
    residue = r;
    hand_over(function, *this);
}

void BigFloat::set_add(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B) {
    add_signed(*this, p, parallel, A, B, B.sign);
}

void BigFloat::set_sub(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B) {
    add_signed(*this, p, parallel, A, B, !B.sign);
}

void BigFloat::set_rsub(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B, i64 m,
                        bool s) {
    constexpr const char* function = "BigFloat::set_rsub()";
    take_up(parallel, function, A);
    take_up(parallel, function, B);
    start_result(*this, p + 1, function);
    const i64 bottom = m - static_cast<i64>(p + 1);
    // Without the words above the window.
    const auto inside = [&](const BigFloat& X) {
        const u64 above = X.residue_between(parallel, m, X.mag());
        return carried::sub(magnitude_residue(parallel, X, bottom), X.sign ? above : carried::neg(above));
    };
    const u64 difference = carried::sub(inside(A), inside(B));
    L = p + 1;
    exp = bottom;
    sign = s;
    const u8 borrow = bp_sub(T, placed(A), placed(B), 0, bottom, m, parallel);
    normalize_difference(*this, parallel);
    const u64 magnitude = carried::add(difference, carried::of_word(borrow, m, true));
    residue = s || L == 0 ? magnitude : carried::neg(magnitude);
    hand_over(function, *this);
}

void BigFloat::add_ip(Word w, i64 e) {
    if (L == 0 || e < exp || e > mag()) {
        assertion_failure("BigFloat::add_ip(): Magnitude is out of range.", "", "");
    }
    check_capacity(*this, offset_in_buffer(*this), L + 1, "BigFloat::add_ip()");
    const u64 index = static_cast<u64>(e - exp);
    Word carry = w;
    if (index < L) carry = add_word_ip(T + index, L - index, w);
    if (carry != 0) T[L++] = carry;
    residue = carried::add(residue, carried::of_word(w, e, sign));
    hand_over("BigFloat::add_ip()", *this);
}

void BigFloat::mul_uW(const ParallelContext& parallel, Word w) {
    constexpr const char* function = "BigFloat::mul_uW()";
    if (is_zero(*this, function) || w == 1) return;
    if (w == 0) return clear();
    take_up(parallel, function, *this);
    check_capacity(*this, offset_in_buffer(*this), L + 1, function);
    const Word top = bp_mul_uW(T, T, L, w, 0, parallel);
    if (top != 0) T[L++] = top;
    residue = carried::times_word(residue, w);
    hand_over(function, *this);
}

void BigFloat::set_mul_uW(u64 p, const ParallelContext& parallel, const BigFloat& A, Word w) {
    constexpr const char* function = "BigFloat::set_mul_uW()";
    if (is_zero(A, function) || w == 0) return clear();
    take_up(parallel, function, A);
    const BigFloat source = A.kept(parallel, p + 1);
    start_result(*this, p + 2, function);
    sign = source.sign;
    exp = source.exp;
    L = source.L;
    const Word top_word = bp_mul_uW(T, source.T, L, w, 0, parallel);
    if (top_word != 0) T[L++] = top_word;
    residue = carried::times_word(source.residue, w);
    hand_over(function, *this);
}

void BigFloat::set_div_sW(u64 p, const ParallelContext& parallel, const BigFloat& A, i64 w) {
    if (w == 0) throw ArithmeticException("BigFloat::set_div_sW()", "Divide by zero.");
    if (w == 1) return set_BigFloat(p, parallel, A);
    if (is_zero(A, "BigFloat::set_div_sW()")) return clear();
    // The name is the addition's on purpose: both report the same shortage with the same text.
    start_result(*this, p + 2, "BigFloat::set_uadd()");
    take_up(parallel, "BigFloat::set_div_sW()", A);
    const BigFloat source = A.kept(parallel, p + 2);
    const Word divisor = w < 0 ? Word(0) - static_cast<Word>(w) : static_cast<Word>(w);
    sign = source.sign == (w > 0);
    L = p + 2;
    exp = source.mag() - static_cast<i64>(L);
    const u64 fraction = L - source.L;  // quotient words below A's lowest word
    Word remainder = 0;
    if (std::has_single_bit(divisor)) {
        remainder = divide_power_of_two(T, L, source.T, source.L, std::countr_zero(divisor), parallel);
    } else {
        const ShoupDivider divider(divisor);
        remainder = bp_div_np(divider, T + fraction, source.T, source.L, 0, parallel);
        remainder = bp_div_ex(divider, T, fraction, remainder, parallel);
    }
    if (T[L - 1] == 0) L--;
    residue = quotient_residue(source.residue, remainder, exp, source.sign, divisor);
    if (w < 0) residue = carried::neg(residue);
    hand_over("BigFloat::set_div_sW()", *this);
}

void BigFloat::set_mul(u64 p, const MultiplyContext& context, const BigFloat& A, const BigFloat& B) {
    constexpr const char* function = "BigFloat::set_mul()";
    if (is_zero(A, function) || is_zero(B, function)) return clear();
    const ProductOperands o = product_operands(context.parallel, function, p, A, B);
    start_result(*this, o.kept, function);
    const u64 shorter = std::min(o.A.L, o.B.L);
    u64 found = carried::kNone;
    if (o.dropped == 0 && shorter < kBasecaseWords) {
        if (o.n == 2) {
            multiply_word_by_word(T, o.A.T[0], o.B.T[0]);
        } else if (o.A.L >= o.B.L) {
            mul_basecase(T, o.A.T, o.A.L, o.B.T, o.B.L);
        } else {
            mul_basecase(T, o.B.T, o.B.L, o.A.T, o.A.L);
        }
    } else {
        found = multiply_truncated(context, T, o.dropped, o.n, o.A.T, o.A.L, o.B.T, o.B.L, carried_by(o));
    }
    finish_product(context.parallel, function, *this, o, found);
}

void BigFloat::set_sqr(u64 p, const MultiplyContext& context, const BigFloat& A) {
    constexpr const char* function = "BigFloat::set_sqr()";
    if (is_zero(A, function)) return clear();
    const ProductOperands o = product_operands(context.parallel, function, p, A, A);
    start_result(*this, o.kept, function);
    u64 found = carried::kNone;
    if (o.dropped == 0 && o.A.L < kBasecaseWords) {
        if (o.n == 2) {
            multiply_word_by_word(T, o.A.T[0], o.A.T[0]);
        } else {
            sqr_basecase(T, o.A.T, o.A.L);
        }
    } else {
        found = square_truncated(context, T, o.dropped, o.n, o.A.T, o.A.L, carried_by(o).a);
    }
    finish_product(context.parallel, function, *this, o, found);
}

int BigFloat::set_mul_small(u64 p, const MultiplyContext& context, const BigFloat& A, const BigFloat& B) {
    constexpr const char* function = "BigFloat::set_mul_small()";
    if (is_zero(A, function) || is_zero(B, function)) {
        clear();
        return 0;
    }
    const ProductOperands o = product_operands(context.parallel, function, p, A, B);
    start_result(*this, o.kept, function);
    u64 found = carried::kNone;
    const int status = multiply_truncated_small(context, T, o.dropped, o.n, o.A.T, o.A.L, o.B.T, o.B.L,
                                                carried_by(o), &found);
    finish_product(context.parallel, function, *this, o, found);
    return status;
}

void BigFloat::purturb_up(u64 k) {
    if (k >= L) return;
    check_capacity(*this, offset_in_buffer(*this), L + 1, "BigFloat::purturb_up()");
    if (add_word_ip(T + k, L - k, 1) != 0) T[L++] = 1;
    residue = carried::add(residue, carried::of_word(1, exp + static_cast<i64>(k), sign));
    hand_over("BigFloat::purturb_up()", *this);
}

void BigFloat::check_normalization() const {
    if (L == 0 || T[L - 1] != 0) return;
    assertion_failure("BigFloat::check_normalization(): Top word is zero.", "", "");
}

BigFloat BigFloat::top(u64 n) const {
    BigFloat view = *this;
    if (L > n) {
        view.T += L - n;
        view.exp += static_cast<i64>(L - n);
        view.L = n;
        view.residue = n == 0 ? 0 : carried::kNone;
    }
    return view;
}

BigFloat BigFloat::kept(const ParallelContext& parallel, u64 n) const {
    BigFloat view = top(n);
    if (view.L != L && view.L != 0)
        view.residue = carried::sub(residue, residue_between(parallel, exp, view.exp));
    return view;
}

BigFloat BigFloat::kept_if_cheap(const ParallelContext& parallel, u64 n) const {
    return L / 2 <= n ? kept(parallel, n) : top(n);
}

std::vector<std::string> BigFloat::dump() const {
    std::vector<std::string> lines;
    lines.push_back("sign: " + std::string(sign ? "1" : "0"));
    lines.push_back("mag: " + std::to_string(mag()));
    lines.push_back("exp: " + std::to_string(exp));
    lines.push_back("L: " + std::to_string(L));
    lines.push_back("buffer_size: " + std::to_string(buffer_size));
    const u64 shown = std::min<u64>(L, 10);
    for (u64 i = 0; i < shown; i++) {
        const Word word = T[L - 1 - i];
        std::string text(16, '0');
        for (int digit = 0; digit < 16; digit++)
            text[15 - digit] = "0123456789abcdef"[(word >> (4 * digit)) & 15];
        lines.push_back(std::move(text));
    }
    return lines;
}

int cmp_magnitude(const BigFloat& A, const BigFloat& B) {
    if (A.L == 0 || B.L == 0) return (A.L != 0) - (B.L != 0);
    return bp_cmp(placed(A), placed(B));
}

ScaledDouble top_as_double(const BigFloat& A) {
    const Word high = A.T[A.L - 1];
    const Word low = A.L > 1 ? A.T[A.L - 2] : 0;
    // The top 53 bits of the value, truncated: rounding could reach 2^64.
    const u128 value = static_cast<u128>(high) << 64 | low;
    const int bits = 64 - std::countl_zero(high);  // of the integer part
    const u64 mantissa = static_cast<u64>(value >> (64 + bits - 53));
    return {std::ldexp(static_cast<double>(mantissa), bits - 53), A.mag() - 1};
}

}  // namespace trel
