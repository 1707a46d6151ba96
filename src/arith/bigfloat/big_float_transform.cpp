#include "arith/bigfloat/big_float_transform.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "arith/bigfloat/number_check.h"
#include "arith/kernels/word_array.h"
#include "arith/residue/carried.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

constexpr const char* kForward = "BigFloatTransformR::forward()";

// Words below the requested window that every product delivers as well.
constexpr i64 kGuardWords = 2;

InvalidTransformException window_not_deliverable(const char* function, i64 ie, i64 te) {
    return {function, "ie = " + std::to_string(ie) + ", te = " + std::to_string(te)};
}

// Whether a product of m words at T's buffer would be written over the operand: it must be transformed
// before.
bool overlap(const BigFloat& T, u64 m, const BigFloat& A) {
    return bp_overlap(T.buffer, m, A.T, A.L);
}

// No word of the product lies in the window: then no product compares the operands, and a length or exponent
// that has changed must not drop it.
void leave_out(const ParallelContext& parallel, BigFloat& T, const BigFloat& A) {
    A.verify(parallel, "a factor below or above the window");
    T.clear();
}

// The residue of its words alone, as the transforms see them.
u64 words_residue(const BigFloat& A) {
    return carried::unplaced(A.residue, A.exp, A.sign);
}

}  // namespace

void BigFloatTransformR::place(const BigFloat& A) {
    place_ = second_place_ = {A.exp, A.L, A.sign, words_residue(A)};
}

const BigFloatTransformR::Place& BigFloatTransformR::held_place(const ParallelContext& parallel,
                                                                const char* function) const {
    parallel.stage("place", &place_, sizeof(place_));
    if (place_ != second_place_)
        throw AlgorithmFailedException(function,
                                       "A number was damaged in memory: the place of a held transform.");
    return place_;
}

BigFloat BigFloatTransformR::operand(const ParallelContext& parallel, const BigFloat& A, u64 p) const {
    take_up(parallel, kForward, A);
    const BigFloat cut = A.kept_if_cheap(parallel, p + 2);
    if (cut.L > transform_.convolution_words()) {
        throw TransformTooSmallException(kForward, "Transform length is too small.");
    }
    return cut;
}

void BigFloatTransformR::forward(const MultiplyContext& context, const BigFloat& A, u64 p) {
    held_ = false;
    if (is_zero(A, kForward)) {
        place(BigFloat());
    } else {
        const BigFloat cut = operand(context.parallel, A, p);
        // First the place, as it is when the words are compared with the residue.
        place(cut);
        AlignedBufferC memory = context.scratch;
        hold(context.parallel, cut, memory.spawn(transform_.scratch_bytes()).get());
    }
    held_ = true;
}

void BigFloatTransformR::hold(const ParallelContext& parallel, const BigFloat& cut, void* scratch) {
    transform_.forward(parallel, data_, cut.T, cut.L, scratch, words_residue(cut), words_stay_);
    source_ = words_stay_ ? cut.T : nullptr;
}

void BigFloatTransformR::expect(const BigFloat& T, u64 n) {
    if (source_ == nullptr || !bp_overlap(T.buffer, n, source_, place_.L)) return;
    transform_.forget_words(data_);
    source_ = nullptr;
}

BigFloatTransformR::Window BigFloatTransformR::params(i64 ie, i64 te, i64 e0, u64 n) const {
    const Window empty{true, 0, 0, 0, 0};
    const u64 W = transform_.convolution_words();
    Window w{false, e0, n, 0, n};
    i64 t = e0 + static_cast<i64>(n);
    if (n >= W) {
        // Words W .. n - 1 fold onto 0 .. n - W - 1.
        w.skip = n - W;
        w.b = e0 + static_cast<i64>(n - W);
        t = e0 + static_cast<i64>(W);
        w.m = 2 * W > n ? 2 * W - n : 0;
        if (t < te && W != n) {
            throw window_not_deliverable("BigFloatTransformR::params()", ie, te);
        }
    }
    if (w.m == 0 || ie >= te || w.b >= te || ie >= t) return empty;
    if (t > te) w.m -= static_cast<u64>(t - te);
    if (w.b < ie) {
        const u64 cut = static_cast<u64>(ie - w.b);
        w.skip += cut;
        w.m -= cut;
        w.b = ie;
    }
    w.total = w.skip + w.m;
    return w;
}

template <class Make>
void BigFloatTransformR::produce(const ParallelContext& parallel, BigFloat& T, const Window& window,
                                 bool sign, const char* function, Make&& make) {
    if (window.m > T.buffer_size) throw BufferTooSmallException(function, T.buffer_size, window.m);
    T.T = T.buffer;
    // The place stands twice while the product is made.
    T.exp = window.b;
    T.sign = sign;
    const u64 found = make(T.T);
    parallel.stage("place", &T.exp, sizeof(T.exp));
    parallel.stage("place", &T.sign, sizeof(T.sign));
    // The sign by its byte, which a changed bit can make neither true nor false.
    if (T.exp != window.b || std::memcmp(&T.sign, &sign, sizeof(sign)) != 0) {
        T.clear();
        throw AlgorithmFailedException(function, "A number was damaged in memory: the place of a product.");
    }
    T.L = bp_nonzero_length(T.T, window.m, parallel);
    if (T.L == 0) {
        T.exp = 0;
        T.sign = true;
    }
    T.residue = carried::placed(found, T.exp, T.sign);
    if (!carried::known(found)) T.seal(parallel);
    hand_over(function, T);
}

template <class Make>
bool BigFloatTransformR::multiply(const MultiplyContext& context, BigFloat& T, const Window& window,
                                  bool sign, const char* function, const TransformOperands& of,
                                  Make&& make) const {
    bool by_transform = true;
    produce(context.parallel, T, window, sign, function, [&](Word* words) {
        return or_else([&] { return make(words); },
                       [&](const ConvolutionFailedException&) {
                           by_transform = false;
                           return multiply_below(context, transform_, words, window.skip, window.total, of);
                       });
    });
    return by_transform;
}

bool BigFloatTransformR::inverse(const MultiplyContext& context, BigFloat& T, const Window& window, bool sign,
                                 void* work, const void* X, const void* Y, void* scratch,
                                 const char* function, const TransformOperands& of) const {
    return multiply(context, T, window, sign, function, of, [&](Word* words) {
        return transform_.inverse(context.parallel, words, window.skip, window.total, work, X, Y, scratch);
    });
}

bool BigFloatTransformR::square_held(const MultiplyContext& context, BigFloat& T, const Window& window,
                                     void* work, void* scratch, const char* function) const {
    const u64 L = place_.L, residue = place_.residue;
    return inverse(context, T, window, true, work, data_, data_, scratch, function,
                   {source_, L, source_, L, {residue, residue}});
}

void BigFloatTransformR::sqr_r_x(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                                 i64 ie, i64 te) {
    constexpr const char* function = "BigFloatTransformR::sqr_r_x()";
    held_ = false;
    if (is_zero(A, function)) return T.clear();
    const BigFloat a = operand(context.parallel, A, p);
    const Window window = params(ie - kGuardWords, te, 2 * a.exp, 2 * a.L);
    if (window.empty) return leave_out(context.parallel, T, a);
    if (!overlap(T, window.m, a)) {
        AlignedBufferC memory = context.scratch;
        void* const work = memory.spawn(scratch_bytes()).get();
        const u64 residue = words_residue(a);
        multiply(context, T, window, true, function, {a.T, a.L, a.T, a.L, {residue, residue}},
                 [&](Word* words) {
                     return transform_.square_plain(context.parallel, words, window.skip, window.total, a.T,
                                                    a.L, work, residue);
                 });
        return;
    }
    const TransformMemory memory(transform_, context.scratch);
    transform_.forward(context.parallel, memory.data, a.T, a.L, memory.scratch, words_residue(a));
    inverse(context, T, window, true, memory.data, memory.data, memory.data, memory.scratch, function, {});
}

void BigFloatTransformR::mul_rr_xx(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 pA,
                                   const BigFloat& B, u64 pB, i64 ie, i64 te) {
    constexpr const char* function = "BigFloatTransformR::mul_rr_xx()";
    held_ = false;
    if (is_zero(A, function) || is_zero(B, function)) return T.clear();
    const BigFloat a = operand(context.parallel, A, pA);
    const BigFloat b = operand(context.parallel, B, pB);
    const Window window = params(ie - kGuardWords, te, a.exp + b.exp, a.L + b.L);
    if (window.empty) {
        a.verify(context.parallel, "a factor below or above the window");
        return leave_out(context.parallel, T, b);
    }
    const bool sign = a.sign == b.sign;
    const bool a_stays = !overlap(T, window.m, a), b_stays = !overlap(T, window.m, b);
    const TransformOperands of{
        a_stays ? a.T : nullptr, a.L, b_stays ? b.T : nullptr, b.L, {words_residue(a), words_residue(b)}};
    // Without a transform the product may need less memory and fewer trips through it.
    if ((data_ == nullptr || transform_.plain_bytes() <= scratch_bytes()) && of.are_there()) {
        AlignedBufferC memory = context.scratch;
        void* const work = memory.spawn(transform_.plain_bytes()).get();
        multiply(context, T, window, sign, function, of, [&](Word* words) {
            return transform_.multiply_plain(context.parallel, words, window.skip, window.total, a.T, a.L,
                                             b.T, b.L, work, of.carried.a, of.carried.b);
        });
        return;
    }
    if (data_ == nullptr) throw InvalidTransformException(function, "Invalid Transform Parameters");
    const TransformMemory memory(transform_, context.scratch);
    transform_.forward(context.parallel, data_, a.T, a.L, memory.scratch, of.carried.a, a_stays);
    transform_.forward(context.parallel, memory.data, b.T, b.L, memory.scratch, of.carried.b, b_stays);
    inverse(context, T, window, sign, data_, data_, memory.data, memory.scratch, function, of);
}

void BigFloatTransformR::mul_rr_xf(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 pA,
                                   const BigFloat& B, u64 pB, i64 ie, i64 te) {
    forward(context, A, pA);
    product_with_held(context, T, B, pB, ie, te, "BigFloatTransformR::mul_rr_xf()");
}

void BigFloatTransformR::mul_rf_xf(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                                   i64 ie, i64 te) {
    if (!held_) {
        std::vector<Warnings::Line> lines;
        for (std::string& line : A.dump()) lines.push_back({std::move(line)});
        context.parallel.warn(std::move(lines));
        throw InvalidTransformException("BigFloatTransformR::mul_rf_xf()", "Invalid Transform Parameters");
    }
    product_with_held(context, T, A, p, ie, te, "BigFloatTransformR::mul_rf_xf()");
}

void BigFloatTransformR::product_with_held(const MultiplyContext& context, BigFloat& T, const BigFloat& B,
                                           u64 p, i64 ie, i64 te, const char* function) {
    const Place& held = held_place(context.parallel, function);
    if (held.L == 0 || is_zero(B, function)) return T.clear();
    const BigFloat b = operand(context.parallel, B, p);
    const Window window = params(ie - kGuardWords, te, held.exp + b.exp, held.L + b.L);
    if (window.empty) return leave_out(context.parallel, T, b);
    const bool sign = (held.positive != 0) == b.sign;
    expect(T, window.m);
    const TransformMemory memory(transform_, context.scratch);
    if (overlap(T, window.m, b)) {
        transform_.forward(context.parallel, memory.data, b.T, b.L, memory.scratch, words_residue(b));
        inverse(context, T, window, sign, memory.data, data_, memory.data, memory.scratch, function, {});
        return;
    }
    const u64 residue = words_residue(b);
    multiply(context, T, window, sign, function, {source_, held.L, b.T, b.L, {held.residue, residue}},
             [&](Word* words) {
                 return transform_.multiply_held(context.parallel, words, window.skip, window.total, b.T, b.L,
                                                 data_, memory.data, memory.scratch, residue);
             });
}

void BigFloatTransformR::sqr_rx_xf(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                                   i64 ie, i64 te) {
    constexpr const char* function = "BigFloatTransformR::sqr_rx_xf()";
    forward(context, A, p);
    const Place& held = held_place(context.parallel, function);
    if (held.L == 0) return T.clear();
    const Window window = params(ie - kGuardWords, te, 2 * held.exp, 2 * held.L);
    if (window.empty) return T.clear();
    expect(T, window.m);
    const TransformMemory memory(transform_, context.scratch);
    square_held(context, T, window, memory.data, memory.scratch, function);
}

// In the ring of the convolution A^2 - B is the small difference, up to multiples of 2^(64 W) -+ 1: a few
// units at the bottom, and what the transform drops above its top point. That is lost at the words e0 and up,
// and nothing here could tell it: ie > e0 keeps clear of it for carries of a word.
void BigFloatTransformR::sqr_rx_xf_minus(const MultiplyContext& context, BigFloat& T, const BigFloat& A,
                                         u64 p, const BigFloat& B, i64 ie, i64 te) {
    const char* function = "BigFloatTransformR::sqr_rx_xf_minus()";
    forward(context, A, p);
    const i64 W = static_cast<i64>(transform_.convolution_words());
    const Place& held = held_place(context.parallel, function);
    const i64 e0 = 2 * held.exp;
    if (held.L == 0 || ie < e0 || ie >= te || te > e0 + W) throw window_not_deliverable(function, ie, te);
    const Window window{false, ie, static_cast<u64>(te - ie), static_cast<u64>(ie - e0),
                        static_cast<u64>(te - e0)};
    expect(T, window.m);
    const TransformMemory memory(transform_, context.scratch);
    const bool folds = square_held(context, T, window, memory.data, memory.scratch, function);
    const ParallelContext& parallel = context.parallel;
    // The products that read B next compare it; here its words are read in part.
    take_up(parallel, function, B);
    parallel.stage("window", T.T, window.m * sizeof(Word));
    const PlacedWords square{T.T, window.m, ie};
    BigFloat above = B;
    above.exp -= W;
    // From the square's residue and from what is taken out of it, not from the words that come out.
    const auto units = [te](u8 n) { return carried::of_word(n, te, true); };
    u64 r = carried::sub(T.residue, B.residue_between(parallel, ie, te));
    r = carried::add(r, units(bp_sub(T.T, square, {B.T, B.L, B.exp}, 0, ie, te, parallel)));
    const PlacedWords folded{above.T, above.L, above.exp};
    if (folds && transform_.fold() == Fold::cyclic) {
        r = carried::sub(r, above.residue_between(parallel, ie, te));
        r = carried::add(r, units(bp_sub(T.T, square, folded, 0, ie, te, parallel)));
    }
    if (folds && transform_.fold() == Fold::negacyclic) {
        r = carried::add(r, above.residue_between(parallel, ie, te));
        r = carried::sub(r, units(bp_add(T.T, square, folded, 0, ie, te, parallel)));
    }
    T.exp = ie;
    T.L = bp_nonzero_length(T.T, window.m, parallel);
    if (T.L == 0) T.exp = 0;
    T.residue = r;
    if (!carried::known(r)) T.seal(parallel);
    hand_over(function, T);
}

void BigFloatTransformR::inverse_fmul(const MultiplyContext& context, BigFloat& T, BigFloatTransformR& other,
                                      i64 ie, i64 te) {
    const char* function = "BigFloatTransformR::inverse_fmul()";
    if (!held_ || !other.held_) throw InvalidTransformException(function, "Invalid Transform Parameters");
    if (&transform_ != &other.transform_ && !transform_.compatible(other.transform_)) {
        held_ = other.held_ = false;
        throw InvalidParametersException(function, "Mismatching Transform Parameters");
    }
    held_ = false;
    const Place &a = held_place(context.parallel, function),
                &b = other.held_place(context.parallel, function);
    if (a.L == 0 || b.L == 0) return T.clear();
    const Window window = params(ie - kGuardWords, te, a.exp + b.exp, a.L + b.L);
    if (window.empty) return T.clear();
    expect(T, window.m);
    other.expect(T, window.m);
    AlignedBufferC memory = context.scratch;
    inverse(context, T, window, a.positive == b.positive, data_, data_, other.data_,
            memory.spawn(transform_.scratch_bytes()).get(), function,
            {source_, a.L, other.source_, b.L, {a.residue, b.residue}});
}

void BigFloatTransformR::inverse_fsqr(const MultiplyContext& context, BigFloat& T, i64 ie, i64 te) {
    const char* function = "BigFloatTransformR::inverse_fsqr()";
    if (!held_) throw InvalidTransformException(function, "Invalid Transform Parameters");
    held_ = false;
    const Place& held = held_place(context.parallel, function);
    if (held.L == 0) return T.clear();
    const Window window = params(ie - kGuardWords, te, 2 * held.exp, 2 * held.L);
    if (window.empty) return T.clear();
    expect(T, window.m);
    AlignedBufferC memory = context.scratch;
    square_held(context, T, window, data_, memory.spawn(transform_.scratch_bytes()).get(), function);
}

}  // namespace trel
