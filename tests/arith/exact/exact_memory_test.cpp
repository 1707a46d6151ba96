// Every product of an ExactFloatTransformR in exactly the memory that it announces, guard words around each
// piece, and not in less.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "arith/exact/exact_float.h"
#include "arith/multiply/dispatch.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "reference/words.h"
#include "support/number.h"
#include "support/scratch.h"

using namespace trel;

namespace {

using Number = kalvor_test::NumberOf<ExactFloat>;

reference::Words random_words(u64 n, std::mt19937_64& rng) {
    reference::Words words = reference::pattern(n, rng);
    if (words[n - 1] == 0) words[n - 1] = 1;
    return words;
}

struct RandomNumber : Number {
    RandomNumber(u64 n, std::mt19937_64& rng)
        : Number(random_words(n, rng), static_cast<i64>(rng() % 9) - 4, rng() % 2) {}
};

void expect_product(const ExactFloat& T, const Number& A, const Number& B) {
    EXPECT_EQ(reference::to_mpz(T.T, T.L),
              mpz_class(reference::to_mpz(A.value.T, A.value.L) * reference::to_mpz(B.value.T, B.value.L)));
    EXPECT_EQ(T.exp, A.value.exp + B.value.exp);
    EXPECT_EQ(T.sign, A.value.sign == B.value.sign);
    EXPECT_EQ(T.residue, T.computed_residue());
}

using Run = std::function<void(const MultiplyContext&, ExactFloatTransformR&, ExactFloat& T,
                               const ExactFloat& A, const ExactFloat& B)>;
struct Operation {
    const char* name;
    bool square;
    Run run;
};
const Operation kOperations[] = {
    {"mul_rr_xx", false,
     [](auto& context, auto& R, auto& T, auto& A, auto& B) { R.mul_rr_xx(context, T, A, B); }},
    {"mul_rr_xx of one operand", true,
     [](auto& context, auto& R, auto& T, auto& A, auto&) { R.mul_rr_xx(context, T, A, A); }},
    {"mul_rr_xf", false,
     [](auto& context, auto& R, auto& T, auto& A, auto& B) { R.mul_rr_xf(context, T, A, B); }},
    {"mul_rf_xf", false,
     [](auto& context, auto& R, auto& T, auto& A, auto& B) {
         R.forward(context, A);
         R.mul_rf_xf(context, T, B);
         T.clear();
         R.mul_rf_xf(context, T, B);
     }},
    {"sqr_rx_xf", true, [](auto& context, auto& R, auto& T, auto& A, auto&) { R.sqr_rx_xf(context, T, A); }},
};

TEST(ExactMemoryTest, ProductsUseExactlyTheirScratch) {
    std::mt19937_64 rng(1);
    for (u64 n : {4, 18, 64, 80, 81, 300, 2000, 3264, 3265, 8000}) {
        TransformHolder holder;
        make_transform(holder, n, {serial_context(), {}});
        const RandomNumber A(n / 2, rng), B(n - n / 2, rng);
        for (const Operation& operation : kOperations) {
            SCOPED_TRACE(testing::Message() << operation.name << ", " << n << " words");
            Scratch data(holder->data_bytes());
            ExactFloatTransformR R(*holder, data.data());
            Scratch scratch(R.scratch_bytes());
            Number T(n);
            operation.run({serial_context(), scratch.view()}, R, T.value, A.value, B.value);
            expect_product(T.value, A, operation.square ? A : B);
            EXPECT_TRUE(scratch.guards_intact() && data.guards_intact());
            const bool plain = std::string(operation.name) == "mul_rr_xx";
            Scratch less((plain ? std::min(scratch.size(), holder->plain_bytes()) : scratch.size()) - 64);
            EXPECT_THROW(operation.run({serial_context(), less.view()}, R, T.value, A.value, B.value),
                         BufferTooSmallException);
        }
    }
}

TEST(ExactMemoryTest, HeldProductsUseTheTransformsScratch) {
    std::mt19937_64 rng(2);
    for (u64 n : {18, 80, 81, 300, 3264, 3265, 8000}) {
        SCOPED_TRACE(n);
        TransformHolder holder;
        make_transform(holder, n, {serial_context(), {}});
        const RandomNumber A(n / 2, rng), B(n - n / 2, rng);
        Scratch x(holder->data_bytes()), y(holder->data_bytes()), scratch(holder->scratch_bytes());
        const MultiplyContext context{serial_context(), scratch.view()};
        ExactFloatTransformR R(*holder, x.data()), S(*holder, y.data());
        Number T(n);
        R.forward(context, A.value);
        S.forward(context, B.value);
        R.inverse_fmul(context, T.value, S);
        expect_product(T.value, A, B);
        R.forward(context, A.value);
        R.inverse_fsqr(context, T.value);
        expect_product(T.value, A, A);
        EXPECT_TRUE(scratch.guards_intact() && x.guards_intact() && y.guards_intact());
    }
}

TEST(ExactMemoryTest, PlainProductsNeedNoData) {
    std::mt19937_64 rng(3);
    for (u64 n : {4, 18, 80, 81, 300, 3264, 3265, 8000}) {
        SCOPED_TRACE(n);
        TransformHolder holder;
        make_transform(holder, n, {serial_context(), {}});
        const RandomNumber A(n / 2, rng), B(n - n / 2, rng);
        ExactFloatTransformR R(*holder, nullptr);
        Scratch scratch(R.plain_scratch_bytes());
        const MultiplyContext context{serial_context(), scratch.view()};
        Number T(n);
        R.mul_rr_xx(context, T.value, A.value, B.value);
        expect_product(T.value, A, B);
        R.mul_rr_xx(context, T.value, A.value, A.value);
        expect_product(T.value, A, A);
        EXPECT_TRUE(scratch.guards_intact());
    }
}

// Whole products by the dispatcher in exactly the memory of the table.
TEST(ExactMemoryTest, SetMulStaysInsideThePlan) {
    std::mt19937_64 rng(4);
    for (u64 n : {19, 20, 79, 80, 81, 1000, 3264, 3265}) {
        SCOPED_TRACE(n);
        const RandomNumber A(n / 2, rng), B(n - n / 2, rng);
        Scratch scratch(multiply_scratch_bytes(n));
        Number T(n);
        T.value.set_mul({serial_context(), scratch.view()}, A.value, B.value);
        expect_product(T.value, A, B);
        EXPECT_TRUE(scratch.guards_intact());
    }
}

}  // namespace
