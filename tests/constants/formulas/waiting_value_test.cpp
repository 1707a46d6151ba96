// A value that waits while another is computed is compared when it is taken up again.
#include <gtest/gtest.h>

#include "constants/formulas/invsqrt_word_node.h"
#include "product_of.h"
#include "support/changed_numbers.h"
#include "support/message_of.h"
#include "support/scratch.h"

using namespace kalvor;

namespace {

// Changes a bit of given memory at the n-th stage of any kind that the run reports.
class ChangeAt final : public trel::ComputationStages {
  public:
    ChangeAt(trel::u64 n, trel::Word* word) : n_(n), word_(word) {}
    void at(const char*, void*, trel::u64) override {
        if (count++ == n_) *word_ ^= 1 << 9;
    }
    u64 count = 0;

  private:
    u64 n_;
    trel::Word* word_;
};

// 1/sqrt(2) 1/sqrt(3): the first stands in the result's words while the second is computed.
TEST(WaitingValueTest, ChangedFirstFactorIsFound) {
    const u64 p = 2000;
    const auto product = kalvor_test::ProductOf(std::make_unique<Formulas::InvsqrtWordNode>(2),
                                                std::make_unique<Formulas::InvsqrtWordNode>(3))
                             .make_evaluator({p, 1});
    Scratch result(trel::round_up_8(product->needs().result_words) * sizeof(trel::Word)),
        scratch(product->needs().bytes);
    trel::RunMonitor monitor;
    const trel::ParallelContext parallel{trel::serial_context().framework, 1, &monitor};
    const auto run = [&](u64 n, u64 word) {
        ChangeAt stages(n, result.words() + word);
        monitor.stages = &stages;
        BigFloat x(result.words(), product->needs().result_words);
        product->run({parallel, scratch.view(), nullptr}, trel::null_status(), x);
        monitor.stages = nullptr;
        x.verify(parallel, "the value");
        return stages.count;
    };
    const u64 stages = run(~u64(0), 0);
    ASSERT_GT(stages, 100u);
    // The first is there after less than half of all stages, and the last few belong to the product.
    for (u64 n = stages * 6 / 10; n < stages * 8 / 10; n++) {
        EXPECT_NE(kalvor_test::message_of([&] {
                      run(n, 7 + n % (p / 2));
                  }).find("A number was damaged in memory: the first factor"),
                  std::string::npos)
            << n << " of " << stages;
    }
    EXPECT_GT(monitor.checks.numbers.load(), 0u);
}

}  // namespace
