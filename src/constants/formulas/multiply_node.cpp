#include "constants/formulas/multiply_node.h"

#include <utility>

#include "constants/formulas/product.h"

namespace kalvor::Formulas {

MultiplyNode::MultiplyNode(NodePtr first, NodePtr second)
    : first_(std::move(first)), second_(std::move(second)) {}

std::unique_ptr<Evaluator> MultiplyNode::make_evaluator(const EvaluatorRequest& request) const {
    return make_product(request, *first_, *second_);
}

}  // namespace kalvor::Formulas
