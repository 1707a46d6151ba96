// A convolution of one fixed length: forward transforms of operands, and their product or square back as
// words.
//
// Data of a transform are opaque: data_bytes() bytes, 64-byte aligned, written by forward() and read by
// inverse(). The convolution is cyclic or negacyclic over W = convolution_words() words: a product of n > W
// words comes back right only in the positions n - W .. W - 1 (counted from the product's bottom word), and
// the lowest of those may be one unit off.
//
// Every product is checked: the words that come out, and what the ring has beside them, against the residues
// of the operands (product_check.h). A product that does not fit is done again where its operands are still
// there.
#pragma once

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

#include "arith/multiply/multiply_context.h"
#include "arith/multiply/product_check.h"
#include "arith/residue/goldilocks.h"
#include "os/types.h"
#include "platform/memory/aligned_buffer.h"

namespace trel {

// What happens to the words of a product at and above word W. Let the product be L + H 2^(64 W) with L of W
// words. The result is, modulo 2^(64 W),
//
//     cyclic:      L + H - c
//     negacyclic:  L - H + c
//     none:        L
//
// where c is the carry out of the top point, which a transform may drop (0 <= c <= H unless points are
// signed). H and c both lie below word n - W of a product of n words, so words n - W .. W - 1 differ from
// those of L by no more than one unit of the lowest.
enum class Fold { cyclic, negacyclic, none };

// Whether the words of an operand stay as they are while its transform is held: then a damaged transform is
// made anew from them.
enum class HeldWords { change, stay };

class Transform {
  public:
    // At the end of the data of a transform: what is known of the operand, twice. The longer one for rings
    // whose residues have up to sixteen words.
    static constexpr u64 kLabelBytes = operand_label::bytes(3);
    static constexpr u64 kLongLabelBytes = operand_label::bytes(RingResidue::kMaxWords);

    virtual ~Transform();

    virtual Fold fold() const = 0;

    u64 convolution_bits() const { return convolution_bits_; }
    u64 convolution_words() const { return convolution_bits_ / 64; }
    // `words` words of an operand or product have to fit the convolution: otherwise throws
    // ConvolutionTooSmallException "Convolution length is too small." with both sizes in bits.
    void check_length(const char* function, u64 words) const;
    // Bytes of one forward transform, and of the scratch that forward() and inverse() need; multiples of 64,
    // whatever the number of tasks.
    u64 data_bytes() const { return data_bytes_; }
    u64 scratch_bytes() const { return scratch_bytes_; }

    // carried, carried_a, carried_b: the residues modulo 2^64 - 2^32 + 1 of the whole numbers A and B, where
    // they are known: compared with the words before anything is done with them. The products return that of
    // the words T[0..total - skip).
    //
    // Short products (kShortProductWords) that do not wrap cyclically are not checked where
    // ParallelContext::inner_unchecked is set: then nothing is compared, and they return
    // goldilocks::kNone. A transform that was made so is not checked later either. Number theoretic
    // transforms are checked whatever their length: a wrong value modulo one of their primes changes nothing
    // modulo 2^64 - 2^32 + 1, by which operations compare their results.
    bool is_checked(const ParallelContext& parallel) const {
        return !parallel.inner_unchecked || convolution_words() > kShortProductWords ||
               fold() == Fold::cyclic;
    }

    // data = transform of A[0..L). L = 0 gives the transform of zero. Throws ConvolutionTooSmallException
    // "Convolution length is too small." when 64 L exceeds the convolution. words_stay: A stays as it is
    // while the transform is in use, and no other thread uses the transform: when a product is wrong the
    // transform is made anew from A, provided that A fits its residue.
    void forward(const ParallelContext& parallel, void* data, const Word* A, u64 L, void* scratch,
                 u64 carried = goldilocks::kNone, bool words_stay = false) const;
    // The words of which a transform was made change from now on.
    void forget_words(void* data) const;

    // T[0..total - skip) = words skip .. total - 1 of the product of two transforms (total <= convolution
    // words). work: data_bytes() of space for the pointwise product; work == X or work == Y is allowed (that
    // transform is then lost, and a wrong product can be done again only where its words stay). X == Y
    // squares. T may not overlap the data.
    u64 inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work, const void* X,
                const void* Y, void* scratch) const;

    // Whole products of which no transform is kept. An algorithm may do them with less memory, or fewer trips
    // through it, than forward() and inverse() need. memory: plain_bytes(), for a square data_bytes() +
    // scratch_bytes(). T[0..total - skip) = words skip .. total - 1 of A B, or of A^2; T may not overlap the
    // operands or the memory.
    u64 multiply_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                       const Word* B, u64 LB, void* memory, u64 carried_a = goldilocks::kNone,
                       u64 carried_b = goldilocks::kNone) const;
    u64 square_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A, u64 L,
                     void* memory, u64 carried = goldilocks::kNone) const;
    // The product of A and a kept transform Y, which stays as it is. work: data_bytes().
    u64 multiply_held(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A, u64 LA,
                      const void* Y, void* work, void* scratch, u64 carried = goldilocks::kNone) const;
    // Without checks and without what they need: for elements of a product that is checked as a whole. On any
    // thread, where a difference could not be thrown.
    void multiply_element(const ParallelContext& parallel, Word* T, u64 total, const Word* A, u64 LA,
                          const Word* B, u64 LB, void* memory) const {
        do_multiply_plain(parallel, T, 0, total, A, LA, B, LB, memory, nullptr);
    }
    void square_element(const ParallelContext& parallel, Word* T, u64 total, const Word* A, u64 L,
                        void* memory) const {
        do_square_plain(parallel, T, 0, total, A, L, memory, nullptr);
    }
    u64 plain_bytes() const { return plain_bytes_; }
    // Memory for whole products and whole squares.
    u64 whole_bytes() const { return std::max(plain_bytes_, data_bytes_ + scratch_bytes_); }

    // Whether data made by the other transform can be used with this one.
    virtual bool compatible(const Transform& other) const = 0;

    // What failures call the algorithm.
    virtual const char* name() const = 0;

  protected:
    // A transform that leaves out words of the ring accounts for them itself, or hands out the whole ring
    // when asked, for which there is a spare place in the scratch memory.
    enum class Windows { accounted, whole };

    // Bytes of data and scratch as the algorithm needs them; what the checks need comes on top. plain: of
    // do_multiply_plain(); 0: two data and the scratch. period: words of a residue, 3, 8 or 16; 0: as the
    // ring's length demands.
    Transform(Windows windows, u64 convolution_bits, u64 data_bytes, u64 scratch_bytes, u64 plain_bytes = 0,
              u32 period = 0);

    // The operations themselves, without checks. rest == nullptr: nothing is asked. Else, what belongs to the
    // product in the ring and is not in T is added to it: with Windows::accounted always, with Windows::whole
    // when skip is 0 and total is convolution_words().
    virtual void do_forward(const ParallelContext& parallel, void* data, const Word* A, u64 L,
                            void* scratch) const = 0;
    virtual void do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work,
                            const void* X, const void* Y, void* scratch, ProductRest* rest) const = 0;
    virtual void do_multiply_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total,
                                   const Word* A, u64 LA, const Word* B, u64 LB, void* memory,
                                   ProductRest* rest) const;
    virtual void do_square_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                                 u64 L, void* memory, ProductRest* rest) const;
    virtual void do_multiply_held(const ParallelContext& parallel, Word* T, u64 skip, u64 total,
                                  const Word* A, u64 LA, const void* Y, void* work, void* scratch,
                                  ProductRest* rest) const;

    // For rings modulo 2^(64 W) + 1: an odd divisor of that number.
    virtual const OddModulus& odd_modulus() const;

    u64 convolution_bits_;
    u64 data_bytes_;
    u64 scratch_bytes_;
    u64 plain_bytes_;

  private:
    struct Job;
    // Which products an operand may be for; transforms that are kept do not know.
    enum class For { products_that_fit, products_that_wrap, both };
    For purpose(u64 words) const {
        return words > convolution_words() ? For::products_that_wrap : For::products_that_fit;
    }
    // Products that fit a ring modulo 2^(64 W) + 1 are compared modulo 2^61 - 1 as well. Errors of the same
    // size in several coefficients are 0 modulo 2^192 - 1 where the coefficients lie a multiple of 192 bits
    // apart and their signs cancel; modulo 2^61 - 1 such places have different weights.
    bool wants_m61() const { return fold() == Fold::negacyclic && period_ == 3; }
    OperandResidue residue_of(const ParallelContext& parallel, const Word* A, u64 L, For use) const;
    // The same of an operand that carries a residue.
    OperandResidue operand(const ParallelContext& parallel, const char* operation, const Word* A, u64 L,
                           For use, u64 carried) const;
    OperandResidue label_of(const ParallelContext& parallel, const char* operation, const void* data) const;
    void look_at(const Job& job, const Word* words, OperandResidue& kept) const;
    template <class Run, class Remake>
    u64 checked(Job& job, Run&& run, Remake&& remake) const;

    u32 period_;    // words of a residue
    u64 label_at_;  // offset of the label in the data
    u64 spare_bytes_;
};

// Room for one more transform's data and the transform's scratch, carved from the front of free memory.
struct TransformMemory {
    TransformMemory(const Transform& transform, AlignedBufferC memory)
        : data(memory.spawn(transform.data_bytes()).get()),
          scratch(memory.spawn(transform.scratch_bytes()).get()) {}
    void* data;
    void* scratch;
};

// Holds one transform object of any kind in place, so that making one in a hot merge does not touch the heap.
class TransformHolder {
  public:
    TransformHolder() = default;
    ~TransformHolder() { reset(); }
    TransformHolder(const TransformHolder&) = delete;
    TransformHolder& operator=(const TransformHolder&) = delete;

    template <class T, class... Args>
    T& emplace(Args&&... args) {
        static_assert(sizeof(T) <= sizeof(storage_) && alignof(T) <= alignof(std::max_align_t));
        reset();
        T* object = new (storage_) T(std::forward<Args>(args)...);
        transform_ = object;
        return *object;
    }
    void reset() {
        if (transform_ != nullptr) transform_->~Transform();
        transform_ = nullptr;
    }
    Transform* operator->() const { return transform_; }
    Transform& operator*() const { return *transform_; }
    explicit operator bool() const { return transform_ != nullptr; }

  private:
    alignas(std::max_align_t) std::byte storage_[192];
    Transform* transform_ = nullptr;
};

}  // namespace trel
