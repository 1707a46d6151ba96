// An exact signed number with a word exponent and its residue modulo 2^61 - 1.
//
//   value = (sign ? + : -) * sum of T[i] * 2^(64 (exp + i));  L = 0 is zero, residue 0.
//
// T may sit above the buffer's start: in-place additions grow the number downward into that headroom.
#pragma once

#include "arith/exact/basic_int.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/transform.h"
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

    void set_BasicInt(const BasicInt& A, bool sign, const ParallelContext& P);
    void set_ExactFloat(const ExactFloat& A, const ParallelContext& P);
    void mp2(i64 k, const ParallelContext& P);
    void set_add(const ExactFloat& A, const ExactFloat& B, const ParallelContext& P);
    void set_mul(const MultiplyContext& mp, const ExactFloat& A, const ExactFloat& B);
    // In place, by magnitude: T + B with B not below T ("AB") or starting below T ("BA").
    void uaddAB_ip(const ParallelContext& P, const ExactFloat& B);
    void uaddBA_ip(const ParallelContext& P, const ExactFloat& B);
    void usubAB_ip(const ParallelContext& P, const ExactFloat& B);  // T - B
    void usubBA_ip(const ParallelContext& P, const ExactFloat& B);  // B - T
    // The residue of the words actually stored (not the carried one).
    u64 computed_residue() const;
};

// An ExactFloat operand's forward transform with its place, sign and residue. floor: when the product's exponent
// exceeds it, the product is placed (exponent - floor) words above the buffer's start.
class ExactFloatTransformR {
  public:
    ExactFloatTransformR(const Transform& transform, void* data) : transform_(transform), data_(data) {}

    void forward(const MultiplyContext& mp, const ExactFloat& A);
    void mul_rr_xx(const MultiplyContext& mp, ExactFloat& T, const ExactFloat& A, const ExactFloat& B);
    void mul_rr_xx(const MultiplyContext& mp, ExactFloat& T, const ExactFloat& A, const ExactFloat& B, i64 floor);
    // keeps A's transform
    void mul_rr_xf(const MultiplyContext& mp, ExactFloat& T, const ExactFloat& A, const ExactFloat& B);
    void mul_rr_xf(const MultiplyContext& mp, ExactFloat& T, const ExactFloat& A, const ExactFloat& B, i64 floor);
    // T = A * held; the held transform stays
    void mul_rf_xf(const MultiplyContext& mp, ExactFloat& T, const ExactFloat& A);
    void mul_rf_xf(const MultiplyContext& mp, ExactFloat& T, const ExactFloat& A, i64 floor);
    void sqr_rx_xf(const MultiplyContext& mp, ExactFloat& T, const ExactFloat& A);
    // held * other's held / held^2; this object's data are lost
    void inverse_fmul(const MultiplyContext& mp, ExactFloat& T, const ExactFloatTransformR& other);
    void inverse_fsqr(const MultiplyContext& mp, ExactFloat& T);

    u64 scratch_bytes() const { return transform_.data_bytes() + transform_.scratch_bytes(); }

  private:
    const Transform& transform_;
    void* data_;
    bool held_ = false;
    i64 exp_ = 0;
    u64 L_ = 0;
    bool sign_ = true;
    u64 residue_ = 0;
};

}  // namespace trel
