// One bit of an operand changed after its residue was formed: the result of every operation on exact numbers
// does not fit the residue that it carries, or the operation refuses.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "arith/exact/exact_float.h"
#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"
#include "support/number.h"
#include "support/scratch.h"

namespace trel {
namespace {

using Number = kalvor_test::NumberOf<ExactFloat>;

struct Operation {
    const char* name;
    bool takes_B, in_place;
    std::function<void(const MultiplyContext&, ExactFloat& T, ExactFloat& A, ExactFloat& B)> run;
};

using C = const MultiplyContext&;
using N = ExactFloat&;
const Operation kOperations[] = {
    {"copy", false, false, [](C c, N T, N A, N) { T.set_ExactFloat(A, c.parallel); }},
    {"shift up", false, true, [](C c, N, N A, N) { A.mp2(77, c.parallel); }},
    {"shift down", false, true, [](C c, N, N A, N) { A.mp2(-13, c.parallel); }},
    {"sum", true, false, [](C c, N T, N A, N B) { T.set_add(A, B, c.parallel); }},
    {"product", true, false, [](C c, N T, N A, N B) { T.set_mul(c, A, B); }},
    {"uaddAB", true, true, [](C c, N, N A, N B) { A.uaddAB_ip(c.parallel, B); }},
    {"uaddBA", true, true, [](C c, N, N A, N B) { A.uaddBA_ip(c.parallel, B); }},
    {"usubAB", true, true, [](C c, N, N A, N B) { A.usubAB_ip(c.parallel, B); }},
    {"add with signs", true, true, [](C c, N, N A, N B) { A.add_signed_ip(c.parallel, B, false); }},
    {"subtract with signs", true, true, [](C c, N, N A, N B) { A.add_signed_ip(c.parallel, B, true); }},
    {"strip", false, true, [](C, N, N A, N) { A.strip_low_zeros(1); }},
};

std::vector<Word> random_words(u64 n, std::mt19937_64& rng) {
    std::vector<Word> words(n);
    for (Word& w : words) w = rng();
    words.back() |= Word(1) << 62;
    return words;
}

bool fits(const Operation& operation, const std::vector<Word>& a, const std::vector<Word>& b, i64 b_exp,
          const std::function<void(ExactFloat&, ExactFloat&)>& damage) {
    Scratch memory(round_up_64(multiply_scratch_bytes(a.size() + b.size())) + 64);
    const MultiplyContext context{serial_context(), memory.view(), nullptr};
    Number A(a, 0, true, 8), B(b, b_exp), T(200);
    damage(A, B);
    try {
        operation.run(context, T, A, B);
    } catch (const Exception&) {
        return false;
    }
    const ExactFloat& result = operation.in_place ? A.value : T.value;
    return result.residue == result.computed_residue();
}

TEST(ExactDamageTest, AChangedBitOfAnOperandIsInTheResultAndNotInItsResidue) {
    std::mt19937_64 rng(29);
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        for (const auto& [n, exp] : {std::pair(u64(33), i64(0)), {u64(20), i64(12)}, {u64(6), i64(3)}}) {
            const std::vector<Word> a = random_words(35, rng), b = random_words(n, rng);
            ASSERT_TRUE(fits(operation, a, b, exp, [](ExactFloat&, ExactFloat&) {}));
            for (u64 i = 0; i < a.size(); i++) {
                const Word bit = Word(1) << rng() % 62;
                ASSERT_FALSE(fits(operation, a, b, exp, [&](ExactFloat& A, ExactFloat&) { A.T[i] ^= bit; }))
                    << "word " << i << " of A";
            }
            for (u64 i = 0; operation.takes_B && i < b.size(); i++) {
                const Word bit = Word(1) << rng() % 62;
                ASSERT_FALSE(fits(operation, a, b, exp, [&](ExactFloat&, ExactFloat& B) { B.T[i] ^= bit; }))
                    << "word " << i << " of B";
            }
            ASSERT_FALSE(fits(operation, a, b, exp, [](ExactFloat& A, ExactFloat&) { A.residue ^= 64; }));
            ASSERT_FALSE(fits(operation, a, b, exp, [](ExactFloat& A, ExactFloat&) { A.exp++; }));
            ASSERT_FALSE(fits(operation, a, b, exp, [](ExactFloat& A, ExactFloat&) { A.L--; }));
        }
    }
}

}  // namespace
}  // namespace trel
