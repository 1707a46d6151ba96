#include "reference/fold_transform.h"

#include <algorithm>
#include <cstring>

#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"

namespace reference {

using namespace trel;

// Data: the operand, zero-extended to W words. Scratch is filled with rubbish, work is overwritten.
FoldTransform::FoldTransform(Fold fold, u64 words)
    : Transform(Windows::whole, 64 * words, round_up_64(8 * words), round_up_64(8 * words)), fold_(fold) {}

void FoldTransform::do_forward(const ParallelContext&, void* data, const Word* A, u64 L,
                               void* scratch) const {
    Word* words = static_cast<Word*>(data);
    std::copy_n(A, L, words);
    std::fill(words + L, words + convolution_words(), 0);
    std::memset(scratch, 0xa5, scratch_bytes());
}

// The fold is that of integers: nothing is left above the words of the ring.
void FoldTransform::do_inverse(const ParallelContext&, Word* T, u64 skip, u64 total, void* work,
                               const void* X, const void* Y, void* scratch, ProductRest*) const {
    const u64 W = convolution_words();
    if (total > W || skip > total)
        throw StringException("FoldTransform::inverse()", "The window is not in the convolution.");
    const mpz_class product = to_mpz(static_cast<const Word*>(X), W) * to_mpz(static_cast<const Word*>(Y), W);
    const mpz_class low = low_words(product, W);
    const mpz_class high = shifted(product, -static_cast<i64>(W));
    mpz_class modulus = 1;
    mpz_mul_2exp(modulus.get_mpz_t(), modulus.get_mpz_t(), 64 * W);
    mpz_class folded;
    if (fold_ == Fold::cyclic) {
        folded = (low + high) % (modulus - 1);
        // The residue 0 has two representations; the one without a fold is the product itself.
        if (folded == 0 && high == 0) folded = low;
    } else {
        // The residue 2^(64 W) = -1 has no words of its own: a transform delivers the words of a two's
        // complement.
        folded = low_words(low - high, W);
    }
    std::memset(scratch, 0xa5, scratch_bytes());
    std::memset(work, 0xa5, data_bytes());
    const std::vector<Word> words = to_words(window(folded, skip, total), total - skip);
    std::copy(words.begin(), words.end(), T);
}

bool FoldTransform::compatible(const Transform& other) const {
    const auto* same = dynamic_cast<const FoldTransform*>(&other);
    return same != nullptr && same->fold_ == fold_ && same->convolution_bits() == convolution_bits();
}

MultiplySizes FoldAlgorithm::sizes(u64 words) const {
    const FoldTransform transform(fold_, words);
    MultiplySizes sizes;
    sizes.output = round_up_64(8 * words);
    // A shorter ring may have the longer label.
    sizes.transform_data = round_up_64(8 * words) + Transform::kLongLabelBytes;
    sizes.transform_scratch = transform.scratch_bytes();
    sizes.scratch = 2 * sizes.transform_data + sizes.transform_scratch;
    return sizes;
}

void FoldAlgorithm::make_transform(TransformHolder& holder, u64 words, const MultiplyContext&) const {
    holder.emplace<FoldTransform>(fold_, words);
}

}  // namespace reference
