// Every product of a BigFloatTransformR in exactly the memory that it announces, guard words around each
// piece, and not in less.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/bigfloat/number.h"
#include "arith/bigfloat/transform_helper.h"
#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"
#include "support/scratch.h"

using namespace trel;

namespace {

using Run = std::function<void(const MultiplyContext&, BigFloatTransformR&, BigFloatTransformR&, BigFloat& T,
                               const BigFloat& A, const BigFloat& B)>;
constexpr i64 kAll = 1 << 30;  // windows beyond both ends of every product here

struct Operation {
    const char* name;
    bool square;
    Run run;
};

const Operation kOperations[] = {
    {"sqr_r_x", true,
     [](const MultiplyContext& context, BigFloatTransformR& R, BigFloatTransformR&, BigFloat& T,
        const BigFloat& A, const BigFloat&) { R.sqr_r_x(context, T, A, A.L, -kAll, 2 * A.mag()); }},
    {"mul_rr_xx", false,
     [](const MultiplyContext& context, BigFloatTransformR& R, BigFloatTransformR&, BigFloat& T,
        const BigFloat& A,
        const BigFloat& B) { R.mul_rr_xx(context, T, A, A.L, B, B.L, -kAll, A.mag() + B.mag()); }},
    {"mul_rr_xf, mul_rf_xf", false,
     [](const MultiplyContext& context, BigFloatTransformR& R, BigFloatTransformR&, BigFloat& T,
        const BigFloat& A, const BigFloat& B) {
         R.mul_rr_xf(context, T, A, A.L, B, B.L, -kAll, A.mag() + B.mag());
         T.clear();
         R.mul_rf_xf(context, T, B, B.L, -kAll, A.mag() + B.mag());
     }},
    {"sqr_rx_xf", true,
     [](const MultiplyContext& context, BigFloatTransformR& R, BigFloatTransformR&, BigFloat& T,
        const BigFloat& A, const BigFloat&) { R.sqr_rx_xf(context, T, A, A.L, -kAll, 2 * A.mag()); }},
};

void expect_product(const BigFloat& T, const BigFloat& A, const BigFloat& B) {
    expect_value(T, reference::magnitude_at(A, A.exp) * reference::magnitude_at(B, B.exp), A.exp + B.exp,
                 A.sign == B.sign);
}

TEST(TransformMemoryTest, ProductsUseExactlyTheirScratch) {
    std::mt19937_64 rng(1);
    for (u64 n : {4, 18, 64, 80, 81, 300, 2000, 3264, 3265, 8000}) {
        TransformHolder holder;
        make_transform(holder, n, {serial_context(), {}});
        const u64 half = n / 2;
        const Number A(random_words(half, rng), 3, true), B(random_words(n - half, rng), -7, false);
        const BigFloat &a = A.value, &b = B.value;
        for (const Operation& operation : kOperations) {
            SCOPED_TRACE(testing::Message() << operation.name << ", " << n << " words");
            Scratch x(holder->data_bytes()), y(holder->data_bytes());
            BigFloatTransformR R(*holder, x.data()), S(*holder, y.data());
            Number T(n);
            Scratch scratch(R.scratch_bytes());
            operation.run({serial_context(), scratch.view()}, R, S, T, a, b);
            expect_product(T, a, operation.square ? a : b);
            EXPECT_TRUE(scratch.guards_intact() && x.guards_intact() && y.guards_intact());

            const bool plain = std::string(operation.name) == "mul_rr_xx";
            Scratch less((plain ? std::min(scratch.size(), holder->plain_bytes()) : scratch.size()) - 64);
            EXPECT_THROW(operation.run({serial_context(), less.view()}, R, S, T, a, b),
                         BufferTooSmallException);
            EXPECT_TRUE(less.guards_intact() && x.guards_intact());
        }
    }
}

// Held transforms alone need the transform's scratch and nothing more.
TEST(TransformMemoryTest, HeldProductsUseTheTransformsScratch) {
    std::mt19937_64 rng(2);
    for (u64 n : {18, 80, 81, 300, 3264, 3265, 8000}) {
        SCOPED_TRACE(n);
        TransformHolder holder;
        make_transform(holder, n, {serial_context(), {}});
        const Number A(random_words(n / 2, rng), 3, true), B(random_words(n - n / 2, rng), -7, false);
        const BigFloat &a = A.value, &b = B.value;
        Scratch x(holder->data_bytes()), y(holder->data_bytes()), scratch(holder->scratch_bytes());
        const MultiplyContext context{serial_context(), scratch.view()};
        BigFloatTransformR R(*holder, x.data()), S(*holder, y.data());
        Number T(n);
        R.forward(context, a, a.L);
        S.forward(context, b, b.L);
        R.inverse_fmul(context, T, S, -kAll, a.mag() + b.mag());
        expect_product(T, a, b);
        R.forward(context, a, a.L);
        R.inverse_fsqr(context, T, -kAll, 2 * a.mag());
        expect_product(T, a, a);
        EXPECT_TRUE(scratch.guards_intact() && x.guards_intact() && y.guards_intact());
    }
}

// Products that keep nothing run without the object's own memory.
TEST(TransformMemoryTest, PlainProductsNeedNoData) {
    std::mt19937_64 rng(3);
    for (u64 n : {4, 18, 80, 81, 300, 3264, 3265, 8000}) {
        SCOPED_TRACE(n);
        TransformHolder holder;
        make_transform(holder, n, {serial_context(), {}});
        const Number A(random_words(n / 2, rng), 3, true), B(random_words(n - n / 2, rng), -7, false);
        const BigFloat &a = A.value, &b = B.value;
        BigFloatTransformR R(*holder, nullptr);
        Scratch scratch(R.plain_scratch_bytes());
        const MultiplyContext context{serial_context(), scratch.view()};
        Number T(n);
        R.mul_rr_xx(context, T, a, a.L, b, b.L, -kAll, a.mag() + b.mag());
        expect_product(T, a, b);
        R.sqr_r_x(context, T, a, a.L, -kAll, 2 * a.mag());
        expect_product(T, a, a);
        EXPECT_TRUE(scratch.guards_intact());
        EXPECT_FALSE(R.held());
        Scratch less(scratch.size() - 64);
        const auto both = [&] {
            R.mul_rr_xx({serial_context(), less.view()}, T, a, a.L, b, b.L, -kAll, a.mag() + b.mag());
            R.sqr_r_x({serial_context(), less.view()}, T, a, a.L, -kAll, 2 * a.mag());
        };
        EXPECT_THROW(both(), BufferTooSmallException);
    }
}

// A product written over an operand: the operand is transformed first.
TEST(TransformMemoryTest, ProductsOverTheirOperands) {
    std::mt19937_64 rng(4);
    for (u64 n : {18, 80, 81, 300, 3265}) {
        TransformHolder holder;
        make_transform(holder, n, {serial_context(), {}});
        const Number A(random_words(n / 2, rng), 3, true), B(random_words(n - n / 2, rng), -7, false);
        const BigFloat &a = A.value, &b = B.value;
        for (const Operation& operation : kOperations) {
            if (operation.run == nullptr || std::string(operation.name).find(',') != std::string::npos)
                continue;
            for (u64 offset : {u64(0), n / 2}) {
                SCOPED_TRACE(testing::Message() << operation.name << ", " << n << " words at " << offset);
                Scratch x(holder->data_bytes()), y(holder->data_bytes());
                BigFloatTransformR R(*holder, x.data()), S(*holder, y.data());
                Scratch scratch(R.scratch_bytes());
                Number T(n);
                BigFloat operand = a;  // lies in T's buffer
                operand.T = T->buffer + offset;
                std::copy_n(a.T, a.L, operand.T);
                operation.run({serial_context(), scratch.view()}, R, S, T, operand, b);
                expect_product(T, a, operation.square ? a : b);
            }
        }
    }
}

TEST(TransformMemoryTest, TransformHelperStaysInsideItsScratch) {
    std::mt19937_64 rng(5);
    for (u64 p : {1, 9, 10, 36, 40, 100, 1000, 1629, 1630, 4000}) {
        SCOPED_TRACE(p);
        const Number A(random_words(p, rng), 0, true);
        Scratch scratch(TransformHelper::scratch_bytes({serial_context(), {}}, p, p));
        const MultiplyContext context{serial_context(), scratch.view()};
        Number T(2 * p + 2);
        TransformHelper(context, A.value, p).sqr(T, A.value);
        // the top p words and two below them, the lowest within a unit
        const mpz_class square = reference::magnitude_at(A.value, 0) * reference::magnitude_at(A.value, 0);
        const mpz_class difference = square - reference::shifted(reference::magnitude_at(T, T->exp), T->exp);
        EXPECT_TRUE(abs(difference) <= reference::shifted(1, T->exp));
        EXPECT_TRUE(scratch.guards_intact());
        Scratch less(scratch.size() - 64);
        EXPECT_THROW(TransformHelper({serial_context(), less.view()}, A.value, p), BufferTooSmallException);
    }
}

}  // namespace
