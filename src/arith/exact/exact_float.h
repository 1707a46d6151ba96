// An exact signed number with a word exponent and its residue modulo the prime 2^64 - 2^32 + 1.
//
//   value = (sign ? + : -) * sum of T[i] * 2^(64 (exp + i));  L = 0 is zero.
//
// Every operation forms the residue from those of its operands alone, also where the words say zero: a fault
// that makes a number vanish shows as a residue that is not 0.
//
// T may sit above the buffer's start: in-place additions grow the number downward into that headroom.
#pragma once

#include <cstdint>

#include "arith/exact/basic_int.h"
#include "arith/multiply/dispatch.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/transform.h"
#include "arith/residue/carried.h"
#include "os/types.h"

namespace trel {

class ExactFloat {
  public:
    // Product length in words below which products use the basecase.
    static constexpr u64 kBasecaseLength = 20;

    ExactFloat() = default;
    ExactFloat(Word* buffer, u64 buffer_size) : T(buffer), buffer(buffer), buffer_size(buffer_size) {}

    Word* T = nullptr;
    u64 L = 0;
    i64 exp = 0;
    bool sign = true;
    u64 residue = 0;  // of the signed value
    Word* buffer = nullptr;
    u64 buffer_size = 0;

    i64 mag() const { return exp + static_cast<i64>(L); }
    i64 Tmin() const { return exp - (T - buffer); }
    i64 Tmax() const { return Tmin() + static_cast<i64>(buffer_size); }

    void clear() {
        L = 0;
        exp = 0;
        sign = true;
        residue = 0;
        T = buffer;
    }

    // The set operations write from the buffer's start; the target is none of the operands.
    // this = +-A
    void set_BasicInt(const BasicInt& A, bool sign, const ParallelContext& parallel);
    void set_ExactFloat(const ExactFloat& A, const ParallelContext& parallel);
    // this *= 2^k, k of either sign; capacity one word above the top
    void mp2(i64 k, const ParallelContext& parallel);
    // Operands of one sign only, else InvalidParametersException "Not implemented yet.".
    void set_add(const ExactFloat& A, const ExactFloat& B, const ParallelContext& parallel);
    // context.scratch: multiply_scratch_bytes(A.L + B.L)
    void set_mul(const MultiplyContext& context, const ExactFloat& A, const ExactFloat& B);

    // In place, by magnitude and keeping this sign; this words do not move. B may start anywhere from Tmin
    // up: B starting at or above T is the plain case of the AB forms, B starting below T that of the BA
    // additions; every form accepts both. Range errors are InvalidParametersException, a negative result
    // UnsupportedNegativeException.
    void uaddAB_ip(const ParallelContext& parallel, const ExactFloat& B);
    void uaddBA_ip(const ParallelContext& parallel, const ExactFloat& B);
    void usubAB_ip(const ParallelContext& parallel, const ExactFloat& B);  // |this| - |B|
    void usubBA_ip(const ParallelContext& parallel, const ExactFloat& B);  // |B| - |this|

    // this += B or this -= B with their signs, in place as above. A zero takes B's words at the buffer's
    // start.
    void add_signed_ip(const ParallelContext& parallel, const ExactFloat& B, bool subtract);

    // Drops zero words from the bottom, `unit` at a time (T moves up, exp grows). The value stays.
    void strip_low_zeros(u64 unit);

    // What the carried residue says of the words alone, without sign and exponent: for the product that reads
    // them.
    u64 words_residue() const { return carried::unplaced(residue, exp, sign); }
    // The residue of the words actually stored (not the carried one).
    u64 computed_residue(const ParallelContext& parallel = serial_context()) const;

  private:
    // The word at a position of the buffer's frame.
    Word* at(i64 position) const { return buffer + (position - Tmin()); }
    void uadd_ip(const ParallelContext& parallel, const ExactFloat& B);
};

// |A| against |B|: -1, 0 or 1.
int compare_magnitudes(const ExactFloat& A, const ExactFloat& B);

// An ExactFloat operand's forward transform with its place, sign and residue, and exact products made with
// it. The names tell the operands and what is kept: r a plain number, f a held transform; x the product only,
// f a transform that stays.
//
// Every product needs a convolution of at least the product's length (ConvolutionTooSmallException), room for
// A.L + B.L words (BufferTooSmallException), and a context whose scratch holds scratch_bytes(). T may lie
// over plain operands: they are then transformed before the product is written. With a floor: when the
// product's exponent exceeds it, the product is placed (exponent - floor) words above the buffer's start,
// headroom for an addition below it.
//
// A product that the transform does wrong twice is done by the next lower algorithm that the scratch has room
// for, where the words of both operands are still there: T lies clear of them, and those of the held
// transform stay (HeldWords).
class ExactFloatTransformR {
  public:
    // data: transform.data_bytes() bytes, 64-byte aligned. Both outlive the object. nullptr serves mul_rr_xx
    // with a T clear of the operands; the context's scratch then holds plain_scratch_bytes().
    // words: whether those of the number stay while its transform is held. Even then a product may be written
    // over them.
    ExactFloatTransformR(const Transform& transform, void* data, HeldWords words = HeldWords::change)
        : transform_(transform), data_(data), words_stay_(words == HeldWords::stay) {}

    // Holds A's transform. context.scratch: the transform's scratch.
    void forward(const MultiplyContext& context, const ExactFloat& A);
    void mul_rr_xx(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, const ExactFloat& B);
    void mul_rr_xx(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, const ExactFloat& B,
                   i64 floor);
    // keeps A's transform
    void mul_rr_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, const ExactFloat& B);
    void mul_rr_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, const ExactFloat& B,
                   i64 floor);
    // T = A * held; the held transform stays
    void mul_rf_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A);
    void mul_rf_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, i64 floor);
    void sqr_rx_xf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A);
    // held * other's held / held^2; this object's data are lost
    void inverse_fmul(const MultiplyContext& context, ExactFloat& T, const ExactFloatTransformR& other);
    void inverse_fsqr(const MultiplyContext& context, ExactFloat& T);

    // One more operand's transform and the transform's own scratch.
    u64 scratch_bytes() const { return transform_.data_bytes() + transform_.scratch_bytes(); }
    // Scratch bytes of the products that need no data.
    u64 plain_scratch_bytes() const { return transform_.whole_bytes(); }

  private:
    static constexpr i64 kNoFloor = INT64_MAX;

    // What a product needs to know of an operand beside its transform.
    struct Operand {
        i64 exp = 0;
        u64 L = 0;
        bool sign = true;
        u64 residue = 0;
    };
    static Operand operand(const ExactFloat& A) { return {A.exp, A.L, A.sign, A.residue}; }

    // Whether the product is zero (T is set then); otherwise checks the sizes and places T.
    bool prepare(ExactFloat& T, const Operand& A, const Operand& B, i64 floor, const char* function) const;
    // The rest of T when its words stand.
    static void finish(ExactFloat& T, const Operand& A, const Operand& B);
    // T = A B by product(), which uses the transform, or by a lower algorithm. wA, wB: the operands' words,
    // nullptr where they are gone.
    template <class Product>
    void multiply(const MultiplyContext& context, ExactFloat& T, const Operand& A, const Word* wA,
                  const Operand& B, const Word* wB, Product&& product) const;
    void inverse(const MultiplyContext& context, ExactFloat& T, const Operand& A, const Word* wA,
                 const Operand& B, const Word* wB, void* work, const void* X, const void* Y,
                 void* scratch) const;
    // T = A held, of which T lies clear.
    void multiply_held(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, void* work,
                       void* scratch) const;
    void mul_rr(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, const ExactFloat& B,
                i64 floor, bool keep, const char* function);
    void mul_rf(const MultiplyContext& context, ExactFloat& T, const ExactFloat& A, i64 floor,
                const char* function);

    void hold(const MultiplyContext& context, const ExactFloat& A, void* scratch);
    // What the product is to compare with A's words; nothing where it is not checked.
    u64 carried(const MultiplyContext& context, const ExactFloat& A) const;
    // Before a product is written to T.
    void expect(const ExactFloat& T);

    const Transform& transform_;
    void* data_;
    bool words_stay_;
    const Word* source_ = nullptr;  // the words that stay
    bool held_ = false;
    Operand A_;
};

}  // namespace trel
