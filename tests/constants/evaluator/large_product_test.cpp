#include "constants/evaluator/large_product.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "support/changed_numbers.h"
#include "support/scratch.h"
#include "support/threads.h"

using kalvor::LargeProduct;
using trel::BigFloat;
using trel::i64;
using trel::u64;
using trel::Word;

namespace {

// n random words at an exponent; no zero at either end.
struct Operand {
    Operand(u64 n, i64 exp, bool sign, std::mt19937_64& random) : words(n) {
        for (Word& w : words) w = random() | 1;
        value = BigFloat(words.data(), n);
        value.L = n;
        value.exp = exp;
        value.sign = sign;
        value.seal(trel::serial_context());
    }
    std::vector<Word> words;
    BigFloat value;
};

// The product differs from the exact one by less than a word below the precision, and nothing beside the
// planned memory is written.
void check(u64 p, u64 room, u64 tds, const BigFloat& x, const BigFloat& y) {
    const LargeProduct product(p, room);
    Scratch result(trel::round_up_8(product.needs().result_words) * sizeof(Word));
    Scratch scratch(product.needs().bytes);
    BigFloat T(result.words(), product.needs().result_words);
    product.run({{thread_framework(), tds}, scratch.view(), nullptr}, trel::null_status(), T, x, y);
    ASSERT_TRUE(result.guards_intact() && scratch.guards_intact());
    ASSERT_EQ(T.residue, T.computed_residue(trel::serial_context()));
    ASSERT_EQ(T.sign, x.sign == y.sign);
    const mpz_class want = reference::to_mpz(x.T, x.L) * reference::to_mpz(y.T, y.L);
    const mpz_class error = abs(want - reference::magnitude_at(T, x.exp + y.exp));
    const i64 below = static_cast<i64>(reference::word_length(want)) - static_cast<i64>(p);
    if (below <= 0) {
        ASSERT_EQ(error, 0);
    } else {
        ASSERT_LE(reference::word_length(error), static_cast<u64>(below));
    }
}

// Rooms for one step, and for two that leave fewer and fewer words to the first.
std::vector<u64> rooms_of(u64 p) {
    std::vector<u64> rooms = {trel::kAnyRoom};
    u64 bytes = LargeProduct(p, trel::kAnyRoom).needs().bytes;
    for (;;) {
        const u64 less = LargeProduct(p, bytes - 1).needs().bytes;
        if (less >= bytes) break;
        rooms.push_back(less);
        bytes = less;
    }
    rooms.push_back(0);
    return rooms;
}

TEST(LargeProductTest, OperandsOfAnyLength) {
    std::mt19937_64 random(1);
    for (const u64 p : {3, 4, 5, 6, 7, 8, 9, 16, 33, 100, 101, 1000, 4001}) {
        for (const u64 room : rooms_of(p)) {
            const std::set<u64> lengths = {1,         2,         p / 4 + 1, p / 2,     p / 2 + 1,
                                           p / 2 + 2, 3 * p / 5, p - 2,     3 * p / 4, 7 * p / 8,
                                           p,         p + 1,     p + 2};
            for (const u64 x_words : lengths) {
                for (const u64 y_words : lengths) {
                    const Operand x(x_words, -static_cast<i64>(p), random() % 2 == 0, random);
                    const Operand y(y_words, 5, random() % 2 == 0, random);
                    check(p, room, 1 + p % 3, x.value, y.value);
                    if (HasFatalFailure()) FAIL() << p << " " << room << " " << x_words << " " << y_words;
                }
            }
        }
    }
}

// A bit of either operand changed when one of the steps takes it up, in any word that is left to read.
TEST(LargeProductTest, ChangedOperandsAreFound) {
    const u64 p = 300;
    for (const u64 room : rooms_of(p)) {
        const LargeProduct product(p, room);
        Scratch result(trel::round_up_8(product.needs().result_words) * sizeof(Word));
        Scratch scratch(product.needs().bytes);
        trel::RunMonitor monitor;
        const auto run = [&](trel::ComputationStages& stages) {
            std::mt19937_64 random(3);
            const Operand x(p + 2, 0, true, random), y(p + 2, 5, true, random);
            monitor.stages = &stages;
            BigFloat T(result.words(), product.needs().result_words);
            product.run({{thread_framework(), 1, &monitor}, scratch.view(), nullptr}, trel::null_status(), T,
                        x.value, y.value);
            monitor.stages = nullptr;
            T.verify({thread_framework(), 1, &monitor}, "the product");
        };
        kalvor_test::OneChangedNumber counter;
        run(counter);
        ASSERT_GE(counter.count, room == trel::kAnyRoom ? 2u : 6u);
        std::mt19937_64 random(4);
        for (u64 i = 0; i < counter.count; i++) {
            for (int place = 0; place < 5; place++) {
                kalvor_test::OneChangedNumber change(i, random());
                EXPECT_ANY_THROW(run(change)) << room << " " << i;
            }
        }
    }
}

// Changes length or exponent of a factor when the first step has taken its upper words.
class Shortened final : public trel::ComputationStages {
  public:
    Shortened(BigFloat& y, u64 L, i64 exp) : y_(y), L_(L), exp_(exp) {}
    void at(const char* stage, void*, u64) override {
        if (std::string(stage) != "number") return;
        y_.L = L_;
        y_.exp = exp_;
    }

  private:
    BigFloat& y_;
    const u64 L_;
    const i64 exp_;
};

TEST(LargeProductTest, LowerWordsThatVanishAreNoticed) {
    const u64 p = 300;
    const LargeProduct product(p, 0);
    Scratch result(trel::round_up_8(product.needs().result_words) * sizeof(Word));
    Scratch scratch(product.needs().bytes);
    const u64 upper = p + 2 - (p + 2) / 2;
    const auto run = [&](u64 L, i64 exp) {
        std::mt19937_64 random(5);
        const Operand x(p + 2, 0, true, random);
        Operand y(p + 2, 5, true, random);
        Shortened shortened(y.value, L, exp);
        trel::RunMonitor monitor;
        monitor.stages = &shortened;
        BigFloat T(result.words(), product.needs().result_words);
        product.run({{thread_framework(), 1, &monitor}, scratch.view(), nullptr}, trel::null_status(), T,
                    x.value, y.value);
        T.verify(trel::serial_context(), "the product");
    };
    run(p + 2, 5);
    EXPECT_THROW(run(upper, 5), trel::AlgorithmFailedException);
    EXPECT_THROW(run(p + 2, 5 - 1024), trel::AlgorithmFailedException);
}

// Zero words in the lower half, and a square.
TEST(LargeProductTest, LowWordsMayBeZero) {
    std::mt19937_64 random(2);
    for (const u64 p : {10, 200}) {
        Operand x(p + 2, 0, true, random), y(p + 2, 0, true, random);
        for (const u64 zeros : {p / 4, p / 2 + 1, p / 2 + 3}) {
            // Word 0 stays: a number may have zeros above its lowest word.
            std::fill_n(y.value.T + 1, zeros, 0);
            y.value.seal(trel::serial_context());
            check(p, 0, 1, x.value, y.value);
            check(p, 0, 1, y.value, x.value);
            check(p, 0, 1, y.value, y.value);
        }
    }
}

TEST(LargeProductTest, RoomDecides) {
    const u64 p = 20000;
    const LargeProduct whole(p, trel::kAnyRoom), halves(p, 0);
    EXPECT_EQ(LargeProduct(p, whole.needs().bytes).needs().bytes, whole.needs().bytes);
    // Less room, less memory, and never more than there is, down to the halves.
    const std::vector<u64> rooms = rooms_of(p);
    EXPECT_GE(rooms.size(), 4u);
    for (std::size_t i = 1; i + 1 < rooms.size(); i++) {
        EXPECT_LE(LargeProduct(p, rooms[i]).needs().bytes, rooms[i]);
        EXPECT_GE(rooms[i], halves.needs().bytes);
    }
    EXPECT_EQ(rooms[rooms.size() - 2], halves.needs().bytes);
    EXPECT_LT(halves.needs().bytes, whole.needs().bytes);
    EXPECT_LT(halves.needs().product_words, whole.needs().product_words);
}

}  // namespace
