#include "arith/exact/exact_float.h"
#include "arith/kernels/word_array.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

// Whether T's product would be written over the operand: it must be transformed before.
bool overlap(const ExactFloat& T, const ExactFloat& A) {
    return bp_overlap(T.T, T.L, A.T, A.L);
}

}  // namespace

bool ExactFloatTransformR::prepare(ExactFloat& T, const Operand& A, const Operand& B, i64 floor,
                                   const char* function) const {
    if (A.L == 0 || B.L == 0) {
        T.clear();
        T.residue = goldilocks::mul(A.residue, B.residue);
        return true;
    }
    const u64 n = A.L + B.L;
    const i64 exp = A.exp + B.exp;
    const u64 headroom = exp > floor ? static_cast<u64>(exp - floor) : 0;
    if (T.buffer_size < n + headroom) throw BufferTooSmallException(function, T.buffer_size, n + headroom);
    transform_.check_length(function, n);
    T.T = T.buffer + headroom;
    T.L = n;
    T.exp = exp;
    return false;
}

void ExactFloatTransformR::finish(ExactFloat& T, const Operand& A, const Operand& B) {
    if (T.T[T.L - 1] == 0) T.L--;
    T.sign = A.sign == B.sign;
    T.residue = goldilocks::mul(A.residue, B.residue);
}

template <class Product>
void ExactFloatTransformR::multiply(const MultiplyContext& context, ExactFloat& T, const Operand& A,
                                    const Word* wA, const Operand& B, const Word* wB,
                                    Product&& product) const {
    or_else(product, [&](const ConvolutionFailedException&) {
        const u64 a = trel::carried::unplaced(A.residue, A.exp, A.sign),
                  b = trel::carried::unplaced(B.residue, B.exp, B.sign);
        return multiply_below(context, transform_, T.T, 0, T.L, {wA, A.L, wB, B.L, {a, b}});
    });
    finish(T, A, B);
}

void ExactFloatTransformR::inverse(const MultiplyContext& context, ExactFloat& T, const Operand& A,
                                   const Word* wA, const Operand& B, const Word* wB, void* work,
                                   const void* X, const void* Y, void* scratch) const {
    multiply(context, T, A, wA, B, wB,
             [&] { return transform_.inverse(context.parallel, T.T, 0, T.L, work, X, Y, scratch); });
}

void ExactFloatTransformR::multiply_held(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A,
                                         void* work, void* scratch) const {
    multiply(context, T, operand(A), A.T, A_, source_, [&] {
        return transform_.multiply_held(context.parallel, T.T, 0, T.L, A.T, A.L, data_, work, scratch,
                                        carried(context, A));
    });
}

void ExactFloatTransformR::forward(const MultiplyContext& context, const ExactFloat& A) {
    AlignedBufferC memory = context.scratch;
    void* scratch = memory.spawn(transform_.scratch_bytes()).get();
    hold(context, A, scratch);
    held_ = true;
}

u64 ExactFloatTransformR::carried(const MultiplyContext& context, const ExactFloat& A) const {
    return transform_.is_checked(context.parallel) ? A.words_residue() : goldilocks::kNone;
}

void ExactFloatTransformR::hold(const MultiplyContext& context, const ExactFloat& A, void* scratch) {
    transform_.forward(context.parallel, data_, A.T, A.L, scratch, carried(context, A), words_stay_);
    source_ = words_stay_ ? A.T : nullptr;
    A_ = operand(A);
}

void ExactFloatTransformR::expect(const ExactFloat& T) {
    if (source_ == nullptr || !bp_overlap(T.T, T.L, source_, A_.L)) return;
    transform_.forget_words(data_);
    source_ = nullptr;
}

void ExactFloatTransformR::mul_rr(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A,
                                  const ExactFloat& B, i64 floor, bool keep, const char* function) {
    // The target may be bound to the operands' memory, so their places are read before it changes.
    const ExactFloat a = A, b = B;
    const bool zero = prepare(T, operand(a), operand(b), floor, function);
    if (zero && !keep) return;
    const bool square = a.T == b.T && a.L == b.L;
    const ParallelContext& parallel = context.parallel;
    AlignedBufferC memory = context.scratch;
    if (!keep && !overlap(T, a) && !overlap(T, b)) {
        held_ = false;
        // Without a transform the product may need less memory and fewer trips through it.
        if (square) {
            void* const work = memory.spawn(scratch_bytes()).get();
            return multiply(context, T, operand(a), a.T, operand(b), b.T, [&] {
                return transform_.square_plain(parallel, T.T, 0, T.L, a.T, a.L, work, carried(context, a));
            });
        }
        if (data_ == nullptr || transform_.plain_bytes() <= scratch_bytes()) {
            void* const work = memory.spawn(transform_.plain_bytes()).get();
            return multiply(context, T, operand(a), a.T, operand(b), b.T, [&] {
                return transform_.multiply_plain(parallel, T.T, 0, T.L, a.T, a.L, b.T, b.L, work,
                                                 carried(context, a), carried(context, b));
            });
        }
    }
    if (data_ == nullptr) throw InvalidTransformException(function, "Invalid Transform Parameters");
    if (zero) return forward(context, a);
    const auto [other, scratch] = TransformMemory(transform_, context.scratch);
    hold(context, a, scratch);
    expect(T);
    held_ = keep;
    const Word* const words = overlap(T, a) ? nullptr : a.T;
    if (square) {
        return inverse(context, T, A_, words, A_, words, keep ? other : data_, data_, data_, scratch);
    }
    const bool b_stays = !overlap(T, b);
    if (keep && b_stays) return multiply_held(context, T, b, other, scratch);
    transform_.forward(parallel, other, b.T, b.L, scratch, carried(context, b), b_stays);
    inverse(context, T, A_, words, operand(b), b_stays ? b.T : nullptr, keep ? other : data_, data_, other,
            scratch);
}

void ExactFloatTransformR::mul_rf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A,
                                  i64 floor, const char* function) {
    if (!held_) throw InvalidTransformException(function, "Invalid Transform Parameters");
    const ExactFloat a = A;
    if (prepare(T, operand(a), A_, floor, function)) return;
    expect(T);
    const auto [other, scratch] = TransformMemory(transform_, context.scratch);
    if (!overlap(T, a)) return multiply_held(context, T, a, other, scratch);
    transform_.forward(context.parallel, other, a.T, a.L, scratch, carried(context, a));
    inverse(context, T, operand(a), nullptr, A_, source_, other, other, data_, scratch);
}

void ExactFloatTransformR::mul_rr_xx(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A,
                                     const ExactFloat& B) {
    mul_rr(context, T, A, B, kNoFloor, false, "ExactFloatTransformR::mul_rr_xx()");
}
void ExactFloatTransformR::mul_rr_xx(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A,
                                     const ExactFloat& B, i64 floor) {
    mul_rr(context, T, A, B, floor, false, "ExactFloatTransformR::mul_rr_xx(exp)");
}
void ExactFloatTransformR::mul_rr_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A,
                                     const ExactFloat& B) {
    mul_rr(context, T, A, B, kNoFloor, true, "ExactFloatTransformR::mul_rr_xf()");
}
void ExactFloatTransformR::mul_rr_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A,
                                     const ExactFloat& B, i64 floor) {
    mul_rr(context, T, A, B, floor, true, "ExactFloatTransformR::mul_rr_xf(exp)");
}
void ExactFloatTransformR::mul_rf_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A) {
    mul_rf(context, T, A, kNoFloor, "ExactFloatTransformR::mul_rf_xf()");
}
void ExactFloatTransformR::mul_rf_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A,
                                     i64 floor) {
    mul_rf(context, T, A, floor, "ExactFloatTransformR::mul_rf_xf(exp)");
}
void ExactFloatTransformR::sqr_rx_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A) {
    mul_rr(context, T, A, A, kNoFloor, true, "ExactFloatTransformR::sqr_rx_xf()");
}

void ExactFloatTransformR::inverse_fmul(const MultiplyContext& context, ExactFloat& T,
                                        const ExactFloatTransformR& other) {
    constexpr const char* function = "ExactFloatTransformR::inverse_fmul()";
    if (!held_ || !other.held_) throw InvalidTransformException(function, "Invalid Transform Parameters");
    held_ = false;
    if (&transform_ != &other.transform_ && !transform_.compatible(other.transform_)) {
        throw InvalidParametersException(function, "Mismatching Transform Parameters");
    }
    if (prepare(T, A_, other.A_, kNoFloor, function)) return;
    expect(T);
    const Word* other_words = other.source_;
    if (other_words != nullptr && bp_overlap(T.T, T.L, other_words, other.A_.L)) {
        transform_.forget_words(other.data_);
        other_words = nullptr;
    }
    AlignedBufferC memory = context.scratch;
    void* scratch = memory.spawn(transform_.scratch_bytes()).get();
    inverse(context, T, A_, source_, other.A_, other_words, data_, data_, other.data_, scratch);
}

void ExactFloatTransformR::inverse_fsqr(const MultiplyContext& context, ExactFloat& T) {
    constexpr const char* function = "ExactFloatTransformR::inverse_fsqr()";
    if (!held_) throw InvalidTransformException(function, "Invalid Transform Parameters");
    held_ = false;
    if (prepare(T, A_, A_, kNoFloor, function)) return;
    expect(T);
    AlignedBufferC memory = context.scratch;
    void* scratch = memory.spawn(transform_.scratch_bytes()).get();
    inverse(context, T, A_, source_, A_, source_, data_, data_, data_, scratch);
}

}  // namespace trel
