// Products of BigFloats that reuse forward transforms and deliver a window of the product.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/dispatch.h"
#include "arith/multiply/transform.h"

namespace trel {

// One operand's forward transform with that operand's place, and the products it takes part in. The transform
// object is shared by all BigFloatTransformR made for it and outlives them.
//
// Every product takes the window [ie, te) of word exponents that the caller needs (the operations add 2 guard
// words below ie), a context whose scratch holds scratch_bytes(), and writes T from its buffer's start. An
// empty window or a zero operand gives T = 0. Plain operands are cut to p + 2 words; T's buffer may lie over
// them.
//
// A product that the transform does wrong twice is done by the next lower algorithm that the scratch has room
// for, where the words of both operands are still there: T lies clear of them, and those of the held
// transform stay (HeldWords). Where T lies over a plain operand it is not even repeated: clear of it is
// better.
class BigFloatTransformR {
  public:
    struct Window {
        bool empty;
        i64 b;      // exponent of the lowest word delivered
        u64 m;      // words delivered
        u64 skip;   // words of the (wrapped) product below them
        u64 total;  // skip + m
    };

    // data: transform.data_bytes() bytes that will hold the forward transform. nullptr serves sqr_r_x and
    // mul_rr_xx with a T clear of the operands; the context's scratch then holds plain_scratch_bytes().
    // words: whether those of the number stay while its transform is held. Even then a product may be written
    // over them.
    BigFloatTransformR(const Transform& transform, void* data, HeldWords words = HeldWords::change)
        : transform_(transform), data_(data), words_stay_(words == HeldWords::stay) {}

    // Holds A's transform (its top min(L, p + 2) words). Throws TransformTooSmallException.
    void forward(const MultiplyContext& context, const BigFloat& A, u64 p);
    // Which words of a product of n words at exponent e0 can be delivered; ie already lowered by 2.
    Window params(i64 ie, i64 te, i64 e0, u64 n) const;

    // T = A^2
    void sqr_r_x(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p, i64 ie, i64 te);
    // T = A * B
    void mul_rr_xx(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 pA, const BigFloat& B,
                   u64 pB, i64 ie, i64 te);
    // T = A * B, keeping A's transform
    void mul_rr_xf(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 pA, const BigFloat& B,
                   u64 pB, i64 ie, i64 te);
    // T = A * held; the held transform stays. Throws InvalidTransformException after a dump of A when none is
    // held.
    void mul_rf_xf(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p, i64 ie, i64 te);
    // T = A^2, keeping A's transform
    void sqr_rx_xf(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p, i64 ie, i64 te);
    // T = A^2 - B in the window [ie, te), in two's complement (T >= 0), keeping A's transform: for numbers
    // that agree so far that |A^2 - B| < 2^(64 te).
    //
    //     high words                                               low words
    //     A^2   |  H: the same words as B's  |  window [ie, te)  |  below  |
    //     B     |  H                         |                   |         |
    //                                        |<---- convolution of W ----->|
    //
    // Of the square H folds over onto the lowest words; because H is known from B, it is taken out there. So
    // W need only reach te. If it does not, or if the window begins below A^2, InvalidTransformException.
    //
    // The lowest word of T may be a few units off, provided that the window begins far enough above A^2's
    // bottom word: some transforms drop the carry c out of their top point instead of folding it (Fold), and
    // the square is then wrong by c units of its bottom word. How far up is enough:
    //
    //     FFT                         one word
    //     HNT, N32, N64               the length of a point, which may be several words
    //     Code 17, plain products     nothing: they fold everything; nor if the square does not fold
    void sqr_rx_xf_minus(const MultiplyContext& context, BigFloat& T, const BigFloat& A, u64 p,
                         const BigFloat& B, i64 ie, i64 te);
    // T = held * other's held; this object's data are used as work space and lost, the other's stay. Objects
    // of transforms that do not accept each other: both are released, InvalidParametersException.
    void inverse_fmul(const MultiplyContext& context, BigFloat& T, BigFloatTransformR& other, i64 ie, i64 te);
    // T = held^2; the held transform is lost
    void inverse_fsqr(const MultiplyContext& context, BigFloat& T, i64 ie, i64 te);

    // Scratch bytes of the operations: one more transform's data and the transform's scratch.
    u64 scratch_bytes() const { return transform_.data_bytes() + transform_.scratch_bytes(); }
    // Scratch bytes of the products that need no data.
    u64 plain_scratch_bytes() const { return transform_.whole_bytes(); }

    const Transform& transform() const { return transform_; }
    bool held() const { return held_; }
    i64 exp() const { return place_.exp; }
    u64 length() const { return place_.L; }

  private:
    // Place of the number whose transform is held. The product's place and sign follow from it, and no
    // residue shows a change, because the product's is formed with the same place.
    struct Place {
        i64 exp = 0;
        u64 L = 0;
        u64 positive = 1;  // a word, of which every bit is compared
        u64 residue = 0;   // of the words alone

        bool operator==(const Place&) const = default;
    };

    // A's top p + 2 words; TransformTooSmallException when they exceed the convolution.
    BigFloat operand(const ParallelContext& parallel, const BigFloat& A, u64 p) const;
    void place(const BigFloat& A);
    // AlgorithmFailedException where the two copies of the place differ.
    const Place& held_place(const ParallelContext& parallel, const char* function) const;
    void product_with_held(const MultiplyContext& context, BigFloat& T, const BigFloat& B, u64 p, i64 ie,
                           i64 te, const char* function);
    // T's sign, exponent and residue after `make(words)` has written the window's words at `words` and
    // returned their residue, or goldilocks::kNone.
    template <class Make>
    static void produce(const ParallelContext& parallel, BigFloat& T, const Window& window, bool sign,
                        const char* function, Make&& make);
    // The same of a product of `of`: make(words) uses the transform. Whether it did: otherwise a lower
    // algorithm has made T, in which nothing has folded.
    template <class Make>
    bool multiply(const MultiplyContext& context, BigFloat& T, const Window& window, bool sign,
                  const char* function, const TransformOperands& of, Make&& make) const;
    bool inverse(const MultiplyContext& context, BigFloat& T, const Window& window, bool sign, void* work,
                 const void* X, const void* Y, void* scratch, const char* function,
                 const TransformOperands& of) const;
    // T = held^2 by `work`.
    bool square_held(const MultiplyContext& context, BigFloat& T, const Window& window, void* work,
                     void* scratch, const char* function) const;

    void hold(const ParallelContext& parallel, const BigFloat& cut, void* scratch);
    // Before a product is written to n words of T.
    void expect(const BigFloat& T, u64 n);

    const Transform& transform_;
    void* data_;
    bool words_stay_;
    const Word* source_ = nullptr;  // the words that stay
    bool held_ = false;
    Place place_, second_place_;
};

}  // namespace trel
