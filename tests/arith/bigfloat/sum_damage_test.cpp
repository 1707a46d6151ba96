// One bit of an operand changed after its residue was formed, for every operation that does not read its
// operands' residues from their words: the result does not fit the residue that it carries, or the operation
// refuses.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "arith/bigfloat/combine.h"
#include "arith/newton/steps.h"
#include "arith/newton/window_difference.h"
#include "base/errors/exceptions.h"
#include "number.h"
#include "support/scratch.h"

namespace trel {
namespace {

const ParallelContext& parallel = serial_context();

struct Operation {
    const char* name;
    bool takes_B;
    // The result is in T, or in A when `in_place`.
    bool in_place;
    std::function<void(const MultiplyContext&, BigFloat& T, BigFloat& A, BigFloat& B)> run;
};

using C = const MultiplyContext&;
using N = BigFloat&;
const Operation kOperations[] = {
    {"copy", false, false, [](C, N T, N A, N) { T.set_BigFloat(50, parallel, A); }},
    {"copy, cut", false, false, [](C, N T, N A, N) { T.set_BigFloat(20, parallel, A); }},
    {"uadd", true, false, [](C, N T, N A, N B) { T.set_uadd(50, parallel, A, B); }},
    {"uadd, cut", true, false, [](C, N T, N A, N B) { T.set_uadd(20, parallel, A, B); }},
    {"usub", true, false, [](C, N T, N A, N B) { T.set_usub(50, parallel, A, B); }},
    {"usub, cut", true, false, [](C, N T, N A, N B) { T.set_usub(20, parallel, A, B); }},
    {"add", true, false, [](C, N T, N A, N B) { T.set_add(50, parallel, A, B); }},
    {"add, cut", true, false, [](C, N T, N A, N B) { T.set_add(20, parallel, A, B); }},
    {"sub", true, false, [](C, N T, N A, N B) { T.set_sub(50, parallel, A, B); }},
    {"sub, cut", true, false, [](C, N T, N A, N B) { T.set_sub(20, parallel, A, B); }},
    {"mul_uW", false, true, [](C, N, N A, N) { A.mul_uW(parallel, 1000003); }},
    {"set_mul_uW", false, false, [](C, N T, N A, N) { T.set_mul_uW(50, parallel, A, 1000003); }},
    {"set_mul_uW, cut", false, false, [](C, N T, N A, N) { T.set_mul_uW(20, parallel, A, 1000003); }},
    {"set_div_sW", false, false, [](C, N T, N A, N) { T.set_div_sW(50, parallel, A, -1000003); }},
    {"set_div_sW, cut", false, false, [](C, N T, N A, N) { T.set_div_sW(20, parallel, A, 1000003); }},
    {"set_mul", true, false, [](C c, N T, N A, N B) { T.set_mul(60, c, A, B); }},
    {"set_mul, cut", true, false, [](C c, N T, N A, N B) { T.set_mul(20, c, A, B); }},
    // More words are cut off than stay.
    {"set_mul, short", true, false, [](C c, N T, N A, N B) { T.set_mul(1, c, A, B); }},
    {"set_sqr", false, false, [](C c, N T, N A, N) { T.set_sqr(70, c, A); }},
    {"set_sqr, short", false, false, [](C c, N T, N A, N) { T.set_sqr(5, c, A); }},
    {"set_mul_small", true, false, [](C c, N T, N A, N B) { T.set_mul_small(60, c, A, B); }},
    {"set_mul_small, cut", true, false, [](C c, N T, N A, N B) { T.set_mul_small(20, c, A, B); }},
    // A window inside both numbers, one that crosses their tops, and one in which A is below B.
    {"rsub", true, false, [](C, N T, N A, N B) { T.set_rsub(12, parallel, A, B, 22, true); }},
    {"rsub, above", true, false, [](C, N T, N A, N B) { T.set_rsub(30, parallel, A, B, 40, true); }},
    {"rsub, turned", true, false, [](C, N T, N A, N B) { T.set_rsub(20, parallel, B, A, 31, false); }},
    {"words_between", false, false, [](C, N T, N A, N) { T = newton::words_between(parallel, A, 5, 25); }},
    {"divide_by_small", false, false,
     [](C, N T, N A, N) { newton::divide_by_small(parallel, T, A, 1000003, A.exp - 4); }},
    {"divide_by_small, large word", false, false,
     [](C, N T, N A, N) { newton::divide_by_small(parallel, T, A, ~Word(0) - 58, A.exp - 4); }},
    {"divide_by_small, large word, cut", false, false,
     [](C, N T, N A, N) { newton::divide_by_small(parallel, T, A, ~Word(0) - 58, A.exp + 9); }},
    {"combine, add", true, true, [](C, N, N A, N B) { combine_ip(parallel, A, B, false); }},
    {"combine, subtract", true, true, [](C, N, N A, N B) { combine_ip(parallel, A, B, true); }},
    {"combine with signs", true, true, [](C, N, N A, N B) { combine_signed_ip(parallel, A, B, true); }},
    {"extend_down", false, true, [](C, N, N A, N) { extend_down(A, A.exp - 4, "extend_down()"); }},
    {"cut_below", false, true, [](C, N, N A, N) { cut_below(parallel, A, A.exp + 7); }},
    {"add_ip", false, true, [](C, N, N A, N) { A.add_ip(5, A.exp + 3); }},
    {"sign and place", false, true,
     [](C, N, N A, N) {
         A.set_sign(!A.sign);
         A.move(-5);
     }},
};

std::vector<Word> random_words(u64 n, std::mt19937_64& rng) {
    std::vector<Word> words(n);
    for (Word& w : words) w = rng();
    words.back() |= Word(1) << 62;
    return words;
}

// Whether the result carries what it is.
bool fits(const Operation& operation, const std::vector<Word>& a, const std::vector<Word>& b, i64 b_exp,
          const std::function<void(BigFloat&, BigFloat&)>& damage) {
    Scratch memory(1 << 17);
    const MultiplyContext context{parallel, memory.view(), nullptr};
    // Room below, where the words of an operand in place begin, and above.
    Number A(a, 0, true, 8), B(b, b_exp), T(200);
    A->seal(parallel);
    B->seal(parallel);
    damage(A, B);
    try {
        operation.run(context, T, A, B);
        (operation.in_place ? A : T)->verify(parallel, "result");
    } catch (const AlgorithmFailedException&) {
        return false;
    }
    return true;
}

TEST(SumDamageTest, AChangedBitOfAnOperandIsInTheResultAndNotInItsResidue) {
    std::mt19937_64 rng(23);
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        // The second operand reaches to the bottom of the first, ends above it, or is short.
        for (const auto& [n, exp] : {std::pair(u64(33), i64(0)), {u64(20), i64(12)}, {u64(6), i64(3)}}) {
            const std::vector<Word> a = random_words(35, rng), b = random_words(n, rng);
            ASSERT_TRUE(fits(operation, a, b, exp, [](BigFloat&, BigFloat&) {}));
            for (u64 i = 0; i < a.size(); i++) {
                const Word bit = Word(1) << rng() % 62;
                ASSERT_FALSE(fits(operation, a, b, exp, [&](BigFloat& A, BigFloat&) { A.T[i] ^= bit; }))
                    << "word " << i << " of A";
            }
            for (u64 i = 0; operation.takes_B && i < b.size(); i++) {
                const Word bit = Word(1) << rng() % 62;
                ASSERT_FALSE(fits(operation, a, b, exp, [&](BigFloat&, BigFloat& B) { B.T[i] ^= bit; }))
                    << "word " << i << " of B";
            }
            // What is kept of them.
            ASSERT_FALSE(fits(operation, a, b, exp, [](BigFloat& A, BigFloat&) { A.residue ^= 64; }));
            ASSERT_FALSE(fits(operation, a, b, exp, [](BigFloat& A, BigFloat&) { A.exp++; }));
            ASSERT_FALSE(fits(operation, a, b, exp, [](BigFloat& A, BigFloat&) { A.L--; }));
            if (!operation.takes_B) continue;
            ASSERT_FALSE(fits(operation, a, b, exp, [](BigFloat&, BigFloat& B) { B.residue ^= 64; }));
            ASSERT_FALSE(fits(operation, a, b, exp, [](BigFloat&, BigFloat& B) { B.exp++; }));
            ASSERT_FALSE(fits(operation, a, b, exp, [](BigFloat&, BigFloat& B) { B.L--; }));
            // So far down that nothing of it is left in the result.
            ASSERT_FALSE(fits(operation, a, b, exp, [](BigFloat&, BigFloat& B) { B.exp -= 1024; }));
        }
    }
}

}  // namespace
}  // namespace trel
