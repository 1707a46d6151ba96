#include "constants/formulas/formula_evaluator.h"

#include <map>
#include <utility>

#include "base/status/status_scope.h"
#include "constants/formulas/run_plan.h"

namespace kalvor::Formulas {
namespace {

class FormulaEvaluator final : public Evaluator {
  public:
    FormulaEvaluator(const VFormulaNode& root, const EvaluatorRequest& request)
        : plan_(make_run_plan(root, request)) {}

    const Needs& needs() const override { return plan_.needs; }
    SeriesBlocks series_blocks() const override {
        SeriesBlocks blocks;
        for (const PlannedValue& value : plan_.values) {
            if (value.step) blocks = blocks + value.step->series_blocks();
        }
        return blocks;
    }
    // Phases of one name are one phase, in the place of the first, so that a sum of many terms has as many
    // phases as one of them.
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases;
        std::map<std::string, std::size_t> known;
        for (const Operation& operation : plan_.operations) {
            if (operation.kind != Operation::Kind::finish && operation.kind != Operation::Kind::take)
                continue;
            for (const WorkPhase& phase : plan_.values[operation.value].step->work()) {
                const auto [place, is_new] = known.emplace(phase.name, phases.size());
                if (is_new) {
                    phases.push_back(phase);
                } else {
                    phases[place->second].seconds += phase.seconds;
                    phases[place->second].units += phase.units;
                }
            }
        }
        return phases;
    }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        AlignedBufferC memory = context.scratch;
        Word* const words = carve_words(memory, plan_.needs.bytes / sizeof(Word));
        std::vector<Value> values(plan_.values.size());
        std::vector<Operand> operands;
        for (std::size_t i = 0; i < plan_.operations.size(); i++) {
            const Operation& operation = plan_.operations[i];
            Value& value = values[operation.value];
            if (operation.kind == Operation::Kind::announce) {
                StatusSection section(status, operation.announcement);
                StatusFrame frame(section.node(), "Loading:  ");
                continue;
            }
            if (operation.kind == Operation::Kind::copy_to_result) {
                value.number->verify(context.parallel, kWaited);
                result.set_BigFloat(value.number->L, context.parallel, *value.number);
                return value.error;
            }
            const PlannedValue& planned = plan_.values[operation.value];
            const Step& step = *planned.step;
            const auto operand = [&](std::size_t child) {
                Value& x = values[planned.operands[child]];
                if (x.made + 1 != i) x.number->verify(context.parallel, kWaited);
                return Operand{x.number, x.error};
            };
            if (operation.kind == Operation::Kind::finish || operation.begins) {
                begin(value, step, operation, words, result);
            }
            const MultiplyContext own = context.with_scratch(part(context.scratch, operation.scratch, step));
            if (operation.kind == Operation::Kind::finish) {
                operands.clear();
                for (std::size_t child = 0; child < planned.operands.size(); child++) {
                    operands.push_back(operand(child));
                }
                value.error = step.finish(own, status, operands, *value.number);
            } else {
                Accumulated sum{*value.number, value.error, value.taken, value.first};
                const Operand x = operand(operation.child);
                step.take(own, status, operation.child, x, sum);
                value.error = sum.error;
                if (value.taken++ == 0) value.first = x.value;
            }
            if (operation.moves_to != kNowhere) {
                BigFloat moved(words + operation.moves_to, step.needs().result_words);
                moved.set_BigFloat(value.number->L, context.parallel, *value.number);
                value.own = moved;
            }
            value.made = i;
        }
        return values[plan_.root].error;
    }

  private:
    static constexpr const char* kWaited = "a value of the formula, which waited for another";

    struct Value {
        BigFloat own;
        BigFloat* number = nullptr;  // own, or the caller's
        ErrorBound error;
        u64 taken = 0;
        const BigFloat* first = nullptr;
        std::size_t made = 0;  // by which operation
    };

    static void begin(Value& value, const Step& step, const Operation& operation, Word* words,
                      BigFloat& result) {
        if (operation.place == kNowhere) {
            value.number = &result;
        } else {
            value.own = BigFloat(words + operation.place, step.needs().result_words);
            value.number = &value.own;
        }
        value.number->clear();
        value.error = ErrorBound::none();
        value.taken = 0;
    }

    // The working memory of a step: as much as it asked for and no more.
    static AlignedBufferC part(AlignedBufferC memory, u64 place, const Step& step) {
        memory.spawn_words(place);
        return memory.spawn(round_up_64(step.needs().bytes));
    }

    const RunPlan plan_;
};

}  // namespace

std::unique_ptr<Evaluator> make_formula_evaluator(const VFormulaNode& root, const EvaluatorRequest& request) {
    return std::make_unique<FormulaEvaluator>(root, request);
}

}  // namespace kalvor::Formulas
