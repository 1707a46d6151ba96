// The product of two values as a value, for tests of make_product().
#pragma once

#include <memory>
#include <utility>

#include "constants/formulas/product.h"

namespace kalvor_test {

class ProductOf final : public kalvor::EvaluatorFactory {
  public:
    using Factor = std::unique_ptr<const kalvor::EvaluatorFactory>;
    ProductOf(Factor first, Factor second) : first_(std::move(first)), second_(std::move(second)) {}
    std::unique_ptr<kalvor::Evaluator> make_evaluator(
        const kalvor::EvaluatorRequest& request) const override {
        return kalvor::Formulas::make_product(request, *first_, *second_, "");
    }

  private:
    const Factor first_, second_;
};

}  // namespace kalvor_test
