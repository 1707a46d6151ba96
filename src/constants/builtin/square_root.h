// Square roots of integers by Newton's method: n^(-1/2), then one multiplication by the word n.
#pragma once

#include "base/names/names.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor {

// floor(sqrt(n)).
u64 integer_root(u64 n);
// By an exact integer root: a double does not tell 2^62 - 1 from 2^62.
bool is_perfect_square(u64 n);

// n^(1/2), n >= 2 and not a square.
class SquareRoot final : public EvaluatorFactory {
  public:
    explicit SquareRoot(Word n) : n_(n) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const Word n_;
};

}  // namespace kalvor
