#include "constants/evaluator/evaluator.h"

#include "constants/evaluator/far_evaluator.h"

namespace kalvor {

Evaluator::~Evaluator() = default;
EvaluatorFactory::~EvaluatorFactory() = default;
FarEvaluator::~FarEvaluator() = default;

}  // namespace kalvor
