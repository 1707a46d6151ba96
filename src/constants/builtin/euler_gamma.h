// Euler's constant by the method of Brent and McMillan (1980), with n = 2^m:
//
//   gamma = A / B - ln n - C / B^2   (refined; without the last term: plain)
//
// The plain method takes n = 2^k and the refined one n = 2^(k - 1), both with an error of about e^(-4 2^k).
#pragma once

#include <optional>

#include "base/names/names.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor {

enum class GammaAlgorithm { refined, plain };

class EulerGamma final : public EvaluatorFactory {
  public:
    static constexpr u64 kLargestK = 50;

    // k: the parameter, 1 to 50, or none: what the precision takes.
    explicit EulerGamma(GammaAlgorithm algorithm, std::optional<u64> k = {}) : algorithm_(algorithm), k_(k) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

    // The smallest k from 2 on with 2^k >= p 64 ln 2 / 4 + 10.
    static u64 parameter_for(u64 precision_words);

  private:
    const GammaAlgorithm algorithm_;
    const std::optional<u64> k_;
};

}  // namespace kalvor
