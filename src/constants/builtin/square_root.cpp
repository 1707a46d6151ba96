#include "constants/builtin/square_root.h"

#include "base/status/status_scope.h"
#include "constants/formulas/word_root.h"

namespace kalvor {
namespace {

class SquareRootValue final : public Evaluator {
  public:
    SquareRootValue(Word n, const EvaluatorRequest& request) : n_(n), root_(n, request) {}

    const Needs& needs() const override { return root_.needs(); }
    std::vector<WorkPhase> work() const override { return {root_.work()}; }
    std::string label() const override { return "Sqrt(" + std::to_string(n_) + ")"; }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.Status_Line(label());
        const ErrorBound error = root_.run(context, status, result, "InvSqrt...");
        StatusSection section(status, "Small Multiply...");
        StatusFrame frame(section.node(), "Multiplying: ");
        result.mul_uW(context.parallel, n_);
        return error.times_word(n_);
    }

  private:
    const Word n_;
    const Formulas::WordRoot root_;
};

}  // namespace

u64 integer_root(u64 n) {
    u64 root = 0;
    for (u64 bit = u64(1) << 31; bit != 0; bit >>= 1) {
        const u64 next = root | bit;
        if (next * next <= n) root = next;
    }
    return root;
}

bool is_perfect_square(u64 n) {
    const u64 root = integer_root(n);
    return root * root == n;
}

std::unique_ptr<Evaluator> SquareRoot::make_evaluator(const EvaluatorRequest& request) const {
    return std::make_unique<SquareRootValue>(n_, request);
}

}  // namespace kalvor
