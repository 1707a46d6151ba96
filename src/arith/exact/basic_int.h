// Small positive exact integers of series leaves, with their residue modulo 2^61 - 1.
#pragma once

#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// A positive integer: L >= 1, top word nonzero. Every operation updates the residue from the operands' residues alone.
class BasicInt {
  public:
    Word* T = nullptr;
    u64 L = 0;
    u64 buffer_size = 0;  // words
    u64 residue = 0;      // lazily reduced (below 2^63)

    // Requires L >= B.L; capacity L + 1.
    void add(const BasicInt& B, const ParallelContext& P);
    BasicInt& operator+=(const BasicInt& B);
    // Throws UnsupportedNegativeException / UnsupportedZeroException.
    void sub(const BasicInt& B, const ParallelContext& P);
    BasicInt& operator-=(const BasicInt& B);
    void set_sqrB(const BasicInt& A);
    void set_BasicInt(const BasicInt& A);
    // this *= w, in place; capacity L + 1
    void mul_uW(Word w);

  protected:
    BasicInt() = default;
    ~BasicInt() = default;
};

// Works in a buffer of the caller and never reallocates.
class BasicIntR : public BasicInt {
  public:
    BasicIntR() = default;
    BasicIntR(Word* buffer, u64 size) {
        T = buffer;
        buffer_size = size;
    }
    void set_word(Word w);
    void set_mulB(const BasicInt& A, const BasicInt& B);
};

// Owns its storage and grows.
class BasicIntO : public BasicInt {
  public:
    // Throws UnsupportedZeroException for w = 0.
    explicit BasicIntO(Word w);
    ~BasicIntO();
    BasicIntO(const BasicIntO&) = delete;
    BasicIntO& operator=(const BasicIntO&) = delete;
    // T *= A (squares when A is *this).
    BasicIntO& operator*=(const BasicInt& A);
};

}  // namespace trel
