// One bit changed in the conversion of a value to digits: in its powers, in their transforms, in any stage of
// its products, on whichever thread. The digits come out right, and what changed them is corrected once.
#include <gtest/gtest.h>

#include <mutex>
#include <random>
#include <string>

#include "base/errors/exceptions.h"
#include "digits/output/pi_writing.h"
#include "support/capture_console.h"

namespace kalvor {
namespace {

constexpr u64 kDigits = 120000;

// Changes a bit at one of the stages of a name.
class StageFlip final : public trel::ComputationStages {
  public:
    explicit StageFlip(std::string name, u64 n = ~u64(0), u64 place = 0)
        : name_(std::move(name)), n_(n), place_(place) {}
    void at(const char* stage, void* memory, u64 bytes) override {
        if (stage != name_ || bytes == 0) return;
        const std::lock_guard lock(mutex_);
        if (count++ != n_) return;
        const u64 bit = place_ % (8 * bytes);
        changed = static_cast<trel::u8*>(memory) + bit / 8;
        mask = static_cast<trel::u8>(1u << bit % 8);
        *changed ^= mask;
    }
    u64 count = 0;
    trel::u8* changed = nullptr;
    trel::u8 mask = 0;

  private:
    const std::string name_;
    const u64 n_, place_;
    std::mutex mutex_;
};

// Changes a bit of a power or of its transform.
class PowerFlip final : public CBRv2::ConvertObserver {
  public:
    enum What { power, transform, ready };
    PowerFlip(What what, u64 level, u64 word, unsigned bit)
        : what_(what), level_(level), word_(word), bit_(bit) {}
    void power_stored(u64 level, Word* words, u64 n) override { hit(power, level, words, n); }
    void transform_stored(u64 level, void* data, u64 bytes) override {
        hit(transform, level, static_cast<Word*>(data), bytes / 8);
    }
    void table_ready(u64 level, void* data, u64 bytes) override {
        hit(ready, level, static_cast<Word*>(data), bytes / 8);
    }
    bool done = false;

  private:
    void hit(What what, u64 level, Word* words, u64 n) {
        if (done || what != what_ || level != level_) return;
        words[word_ % n] ^= Word(1) << bit_;
        done = true;
    }
    const What what_;
    const u64 level_, word_;
    const unsigned bit_;
};

struct Outcome {
    std::string error;
    u64 hash = 0, corrected = 0;
    std::string last;
};

class ConversionFaultsTest : public testing::TestWithParam<u64> {
  protected:
    Outcome run(trel::ComputationStages* stages, CBRv2::ConvertObserver* observer = nullptr) {
        CaptureConsole console;
        const WriterPlan plan = WriterPlan::make(value_.x.L, kDigits, kDigits, 0, true, GetParam());
        const Scratch memory(plan.needs.bytes);
        trel::RunMonitor monitor;
        monitor.stages = stages;
        FloatWriterB writer(plan, {{thread_framework(), GetParam(), &monitor}, memory.view(), nullptr},
                            trel::null_status(), value_.x);
        Outcome o;
        try {
            writer.convert({.correction = false, .observer = observer});
            writer.verify();
            const OutputStats stats = writer.stat_dec_digits();
            o.hash = stats.hash;
            o.last = stats.last.text;
        } catch (const trel::StringException& e) {
            o.error = e.message;
        }
        o.corrected = monitor.checks.corrected;
        EXPECT_TRUE(memory.guards_intact());
        return o;
    }
    u64 levels() const {
        return WriterPlan::make(value_.x.L, kDigits, kDigits, 0, true, GetParam()).conversion.levels;
    }
    bool is_of_value(const trel::u8* place) const {
        const auto* words = reinterpret_cast<const trel::u8*>(value_.x.T);
        return place >= words && place < words + value_.x.L * sizeof(Word);
    }
    void SetUp() override { value_.x.seal(trel::serial_context()); }

    Pi value_{value_words(kDigits)};
};

INSTANTIATE_TEST_SUITE_P(Tasks, ConversionFaultsTest, testing::Values(1, 4));

TEST_P(ConversionFaultsTest, AnyStageOfItsProducts) {
    std::mt19937_64 random(61);
    for (const char* name : {"operand", "data", "pass", "coefficients", "residue", "right", "product"}) {
        StageFlip none(name);
        const Outcome right = run(&none);
        ASSERT_EQ(right.error, "");
        ASSERT_EQ(right.corrected, 0u);
        ASSERT_GT(none.count, 3u) << name;
        u64 corrected = 0;
        for (int round = 0; round < 10; round++) {
            const u64 at = random() % none.count;
            SCOPED_TRACE(testing::Message() << name << " " << at << " of " << none.count);
            StageFlip flip(name, at, random());
            const Outcome got = run(&flip);
            if (is_of_value(flip.changed)) {
                // The caller's own number, which nothing can compute again: the run ends, and says which it
                // was.
                *flip.changed ^= flip.mask;
                EXPECT_EQ(got.error.rfind("A number was damaged in memory: value", 0), 0u) << got.error;
                continue;
            }
            EXPECT_EQ(got.error, "");
            EXPECT_EQ(got.hash, right.hash);
            EXPECT_EQ(got.last, right.last);
            EXPECT_LE(got.corrected, 1u);
            corrected += got.corrected;
        }
        // Low bits of floating-point numbers change no word, and what unchecked products keep of their
        // operands is not looked at.
        if (name != std::string("residue")) {
            EXPECT_GE(corrected, 3u) << name;
        }
    }
}

TEST_P(ConversionFaultsTest, PowersAndTheirTransforms) {
    std::mt19937_64 random(62);
    const Outcome right = run(nullptr);
    ASSERT_EQ(right.error, "");
    const u64 n = levels();
    ASSERT_GT(n, 6u);
    for (const PowerFlip::What what : {PowerFlip::power, PowerFlip::transform, PowerFlip::ready}) {
        for (u64 level = 0; level < n; level++) {
            SCOPED_TRACE(testing::Message() << what << " level " << level << " of " << n);
            // The highest bit of an exponent, where the data are floating-point numbers.
            PowerFlip flip(what, level, what == PowerFlip::power ? random() : 11, 62);
            const Outcome got = run(nullptr, &flip);
            const bool kept = what == PowerFlip::power || level + 1 < n;  // the topmost has no kept transform
            EXPECT_EQ(flip.done, kept);
            EXPECT_EQ(got.error, "");
            EXPECT_EQ(got.hash, right.hash);
            EXPECT_EQ(got.last, right.last);
            EXPECT_EQ(got.corrected, kept ? 1u : 0u);
        }
    }
}

}  // namespace
}  // namespace kalvor
