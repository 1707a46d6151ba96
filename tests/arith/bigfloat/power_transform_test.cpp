// A power's transform is replaced by one of the same kind and size, and by no other.
#include "arith/bigfloat/power_transform.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "arith/multiply/algorithm_table.h"

namespace trel {
namespace {

struct Memory {
    explicit Memory(u64 bytes) : words(bytes / 8 + 8) {}
    void* data() {
        void* pointer = words.data();
        std::size_t space = words.size() * 8;
        return std::align(64, 1, pointer, space);
    }
    std::vector<Word> words;
};

TEST(PowerTransformTest, DataOutliveTheReplacement) {
    constexpr u64 L = 300;
    TransformHolder first, second;
    basic_table64().get_algorithm(2 * L).make_transform(first, 2 * L, {serial_context(), {}});
    basic_table64().get_algorithm(2 * L).make_transform(second, 2 * L, {serial_context(), {}});
    PowerTransform power(*first);
    std::vector<Word> A(L), want(2 * L), got(2 * L);
    for (u64 i = 0; i < L; i++) A[i] = ~(i * i * 0x9E3779B97F4A7C15ULL);
    Memory data(first->data_bytes() + 64), scratch(first->scratch_bytes() + 64);
    power.get().forward(serial_context(), data.data(), A.data(), L, scratch.data());
    power.replace(*second);
    EXPECT_EQ(&power.get(), &*second);
    power.get().inverse(serial_context(), got.data(), 0, 2 * L, data.data(), data.data(), data.data(),
                        scratch.data());
    mpn_sqr(reinterpret_cast<mp_limb_t*>(want.data()), reinterpret_cast<const mp_limb_t*>(A.data()), L);
    EXPECT_EQ(got, want);
}

TEST(PowerTransformTest, AnotherSizeOrKindIsRefused) {
    TransformHolder small, large, basecase;
    basic_table64().get_algorithm(600).make_transform(small, 600, {serial_context(), {}});
    basic_table64().get_algorithm(6000).make_transform(large, 6000, {serial_context(), {}});
    basic_table64().get_algorithm(60).make_transform(basecase, 60, {serial_context(), {}});
    PowerTransform power(*small);
    for (const Transform* other : {&*large, &*basecase}) {
        try {
            power.replace(*other);
            FAIL() << "accepted";
        } catch (const AlgorithmFailedException& e) {
            EXPECT_EQ(e.function, "PowerTransform::replace()");
            EXPECT_EQ(e.message, "Transforms are incompatible.");
        }
        EXPECT_EQ(&power.get(), &*small);
    }
}

}  // namespace
}  // namespace trel
