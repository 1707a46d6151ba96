#include "arith/multiply/basecase_karatsuba.h"

#include <gtest/gtest.h>

#include <random>

#include "base/errors/exceptions.h"
#include "reference/fold_transform.h"
#include "reference/mpz_words.h"
#include "reference/words.h"
#include "support/scratch.h"

using namespace trel;
using reference::Words;

namespace {

struct Forwarded {
    Forwarded(const Transform& transform, const Words& A) : data(transform.data_bytes()) {
        Scratch scratch(transform.scratch_bytes());
        transform.forward(serial_context(), data.data(), A.data(), A.size(), scratch.data());
    }
    Scratch data;
};

TEST(BasecaseKaratsubaTest, TransformDeliversEveryWindowEvenOfLongerProducts) {
    std::mt19937_64 rng(1);
    for (int repeat = 0; repeat < 500; repeat++) {
        const u64 W = 1 + rng() % 90;
        TransformHolder transform;
        basecase_karatsuba_algorithm().make_transform(transform, W, {serial_context(), {}});
        ASSERT_EQ(transform->convolution_words(), W);
        ASSERT_EQ(transform->convolution_bits(), 64 * W);
        ASSERT_EQ(transform->data_bytes() % 64, 0u);
        ASSERT_EQ(transform->scratch_bytes() % 64, 0u);
        const Words A = reference::pattern(rng() % (W + 1), rng),
                    B = reference::pattern(rng() % (W + 1), rng);
        const u64 total = 1 + rng() % W, skip = rng() % total;
        const Forwarded x(*transform, A), y(*transform, B);
        Scratch work(transform->data_bytes()), scratch(transform->scratch_bytes());
        Words T(total - skip + 1, 77);
        transform->inverse(serial_context(), T.data(), skip, total, work.data(), x.data.data(), y.data.data(),
                           scratch.data());
        EXPECT_EQ(T.back(), 77u);
        T.pop_back();
        EXPECT_EQ(
            T, reference::to_words(
                   reference::window(reference::to_mpz(A) * reference::to_mpz(B), skip, total), total - skip))
            << "W=" << W << " LA=" << A.size() << " LB=" << B.size() << " skip=" << skip
            << " total=" << total;
        // The square of the same data, in place.
        Words S(total - skip);
        transform->inverse(serial_context(), S.data(), skip, total, x.data.data(), x.data.data(),
                           x.data.data(), scratch.data());
        EXPECT_EQ(S, reference::to_words(
                         reference::window(reference::to_mpz(A) * reference::to_mpz(A), skip, total),
                         total - skip));
    }
}

TEST(BasecaseKaratsubaTest, TransformRefusesLongerOperands) {
    TransformHolder transform;
    basecase_karatsuba_algorithm().make_transform(transform, 5, {serial_context(), {}});
    const Words A(6, 1);
    Scratch data(transform->data_bytes()), scratch(transform->scratch_bytes());
    try {
        transform->forward(serial_context(), data.data(), A.data(), 6, scratch.data());
        FAIL();
    } catch (const ConvolutionTooSmallException& e) {
        EXPECT_EQ(e.message, "Convolution length is too small.");
        EXPECT_EQ(e.convolution_size, 320u);
        EXPECT_EQ(e.requested_size, 384u);
    }
}

TEST(BasecaseKaratsubaTest, TransformsOfOneSizeAreCompatible) {
    TransformHolder a, b, c;
    basecase_karatsuba_algorithm().make_transform(a, 5, {serial_context(), {}});
    basecase_karatsuba_algorithm().make_transform(b, 5, {serial_context(), {}});
    basecase_karatsuba_algorithm().make_transform(c, 6, {serial_context(), {}});
    EXPECT_TRUE(a->compatible(*b));
    EXPECT_FALSE(a->compatible(*c));
    const reference::FoldTransform other(reference::Fold::cyclic, 5);
    EXPECT_FALSE(a->compatible(other));
}

TEST(BasecaseKaratsubaTest, SizesCoverWhatIsUsed) {
    const MultiplyAlgorithm& algorithm = basecase_karatsuba_algorithm();
    for (u64 n : {1, 2, 3, 19, 61, 62, 63, 64, 80, 81, 500, 1023, 1024}) {
        const MultiplySizes sizes = algorithm.sizes(n);
        for (u64 size : {sizes.output, sizes.scratch, sizes.transform_data, sizes.transform_scratch}) {
            EXPECT_EQ(size % 64, 0u);
        }
        EXPECT_GE(sizes.output, 8 * n);
        TransformHolder transform;
        algorithm.make_transform(transform, n, {serial_context(), {}});
        EXPECT_EQ(sizes.transform_data, transform->data_bytes());
        EXPECT_EQ(sizes.transform_scratch, transform->scratch_bytes());
        // Guarded memory of exactly that size: every operation stays inside.
        Scratch scratch(sizes.scratch);
        const MultiplyContext context{serial_context(), scratch.view()};
        std::mt19937_64 rng(n);
        const u64 LA = (n + 1) / 2, LB = n - LA;
        const Words A = reference::pattern(LA, rng), B = reference::pattern(LB, rng);
        Words T(n);
        algorithm.mul_skip(context, T.data(), n / 3, n, A.data(), LA, B.data(), LB);
        algorithm.sqr_skip(context, T.data(), LB / 3, 2 * LB, B.data(), LB);
        algorithm.mul_skip_transform(context, T.data(), 0, n, A.data(), LA, B.data(), LB);
        EXPECT_EQ(reference::to_mpz(T), mpz_class(reference::to_mpz(A) * reference::to_mpz(B)));
        EXPECT_TRUE(scratch.guards_intact());
    }
    try {
        (void)algorithm.sizes(1025);
        FAIL();
    } catch (const LimitExceededException& e) {
        EXPECT_EQ(e.limit, 65536u);
        EXPECT_EQ(e.attempted, 65600u);
    }
    TransformHolder transform;
    EXPECT_THROW(algorithm.make_transform(transform, 1025, {serial_context(), {}}), LimitExceededException);
}

}  // namespace
