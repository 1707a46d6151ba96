// The third sum of gamma as an evaluator: C (S / D)^2 with numbers of a test's own, C itself without them.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "constants/builtin/gamma_c_series.h"

namespace kalvor_test {

class GammaCValue final : public kalvor::Evaluator {
  public:
    using Words = std::vector<trel::Word>;

    GammaCValue(trel::u64 m, const kalvor::EvaluatorRequest& request, Words S = {1}, Words D = {1})
        : term_(m, request), fraction_{std::move(S), std::move(D)} {}
    const trel::Needs& needs() const override { return term_.needs(); }
    std::vector<trel::WorkPhase> work() const override { return term_.work(); }

    kalvor::ErrorBound run(const trel::MultiplyContext& context, trel::Status& status,
                           trel::BigFloat& x) const override {
        constexpr trel::Word guard = 0x123456789abcdef0;
        Words places[2];
        trel::BigFloat numbers[2];
        for (const int i : {0, 1}) {
            places[i] = fraction_[i];
            places[i].resize(term_.fraction_words() + 1, guard);
            numbers[i] = trel::BigFloat(places[i].data(), term_.fraction_words());
            numbers[i].L = fraction_[i].size();
            numbers[i].sign = true;
            numbers[i].seal(context.parallel);
        }
        const kalvor::ErrorBound error = term_.run(context, status, numbers[0], numbers[1], x);
        EXPECT_EQ(places[0].back(), guard);
        EXPECT_EQ(places[1].back(), guard);
        return error;
    }

  private:
    const kalvor::GammaCTerm term_;
    const Words fraction_[2];
};

}  // namespace kalvor_test
