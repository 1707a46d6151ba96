// Small positive exact integers of series leaves, with their residue modulo the prime 2^64 - 2^32 + 1.
#pragma once

#include "os/types.h"
#include "platform/memory/guarded_heap.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// A positive integer: L >= 1, top word nonzero. Every operation updates the residue from the operands'
// residues alone, so that a fault in the words shows as a difference from it.
//
// Results that do not fit throw BufferTooSmallException (words) with the operation's name. One thread at a
// time per target.
class BasicInt {
  public:
    // Additions and subtractions of more words than this run on the parallel kernels.
    static constexpr u64 kParallelLength = 131072;

    Word* T = nullptr;    // least significant word first, at the buffer's start
    u64 L = 0;            // words
    u64 buffer_size = 0;  // words
    u64 residue = 0;      // below the prime

    // this += B. Requires L >= B.L (a fatal defect otherwise); capacity L + 1.
    void add(const BasicInt& B, const ParallelContext& parallel);
    BasicInt& operator+=(const BasicInt& B);
    // this -= B; capacity L + 1. Throws UnsupportedNegativeException / UnsupportedZeroException, after which
    // the value is undefined.
    void sub(const BasicInt& B, const ParallelContext& parallel);
    BasicInt& operator-=(const BasicInt& B);
    // this = A^2 by the schoolbook method; capacity 2 A.L; A != *this.
    void set_sqrB(const BasicInt& A);
    // this = A
    void set_BasicInt(const BasicInt& A);
    // this *= w, in place; w != 0; capacity L + 1
    void mul_uW(Word w);

  protected:
    BasicInt() = default;
    ~BasicInt() = default;

    void require(u64 words, const char* function) const;
};

// Works in a buffer of the caller and never reallocates.
class BasicIntR : public BasicInt {
  public:
    BasicIntR() = default;
    BasicIntR(Word* buffer, u64 size) {
        T = buffer;
        buffer_size = size;
    }
    // this = w, w != 0
    void set_word(Word w);
    // this = A * B by the schoolbook method; capacity A.L + B.L; neither operand is *this.
    void set_mulB(const BasicInt& A, const BasicInt& B);
};

// Owns its storage, a block of the guarded heap, and grows.
class BasicIntO : public BasicInt {
  public:
    // Throws UnsupportedZeroException for w = 0.
    explicit BasicIntO(Word w);
    BasicIntO(const BasicIntO&) = delete;
    BasicIntO& operator=(const BasicIntO&) = delete;
    // this *= A (squares when A is *this). Storage becomes the product's length and two words to grow.
    BasicIntO& operator*=(const BasicInt& A);

  private:
    void allocate(u64 words);

    GuardedBuffer storage_;
};

}  // namespace trel
