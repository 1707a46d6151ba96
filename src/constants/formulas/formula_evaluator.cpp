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
    u64 plan_bytes() const override { return kBytesOfValue * plan_.values.size(); }
    SeriesBlocks series_blocks() const override {
        SeriesBlocks blocks;
        for (const PlannedValue& value : plan_.values) {
            if (value.step) blocks = blocks + value.step->series_blocks();
        }
        return blocks;
    }
    // Each step by itself, as long as they can be told apart. Of a sum of many terms the phases of one name
    // are one phase, in the place of the first.
    std::vector<WorkPhase> work() const override {
        constexpr std::size_t kManyPhases = 64;
        std::vector<WorkPhase> phases, merged;
        std::map<std::string, std::size_t> known;
        for (const Operation& operation : plan_.operations) {
            const bool works = operation.kind == Operation::Kind::finish ||
                               (operation.kind == Operation::Kind::take && !operation.begins);
            if (!works) continue;
            for (const WorkPhase& phase : plan_.values[operation.value].step->work()) {
                if (phases.size() <= kManyPhases) phases.push_back(phase);
                const auto [place, is_new] = known.emplace(phase.name, merged.size());
                if (is_new) {
                    merged.push_back(phase);
                } else {
                    merged[place->second].seconds += phase.seconds;
                    merged[place->second].units += phase.units;
                }
            }
        }
        return phases.size() <= kManyPhases ? phases : merged;
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
                if (value.value.buffer == result.buffer) {
                    result = value.value;
                } else {
                    value.value.verify(context.parallel, kWaited);
                    result.set_BigFloat(value.value.L, context.parallel, value.value);
                }
                return value.error;
            }
            const PlannedValue& planned = plan_.values[operation.value];
            const Step& step = *planned.step;
            const auto operand = [&](std::size_t child) {
                Value& x = values[planned.operands[child]];
                if (x.made + 1 != i) x.value.verify(context.parallel, kWaited);
                return Operand{&x.value, x.error};
            };
            if (operation.kind == Operation::Kind::finish || operation.begins) {
                begin(value, at(operation.place, step, words, result));
            }
            const MultiplyContext own = context.with_scratch(part(context.scratch, operation.scratch, step));
            if (operation.kind == Operation::Kind::finish) {
                operands.clear();
                for (std::size_t child = 0; child < planned.operands.size(); child++) {
                    operands.push_back(operand(child));
                }
                value.error = step.finish(own, status, operands, value.value);
            } else {
                const Operand x = operand(operation.child);
                step.take(own, status, operation.child, x, value);
                if (value.taken++ == 0) value.first = x.value;
            }
            if (operation.moves_to != kNowhere) {
                BigFloat moved = at(operation.moves_to, step, words, result);
                moved.set_BigFloat(value.value.L, context.parallel, value.value);
                value.value = moved;
            }
            value.made = i;
        }
        result = values[plan_.root].value;
        return values[plan_.root].error;
    }

  private:
    // Text, tree and plan of a node and the lines that tell of it, as measured of sums of 10^5 to 10^6 terms.
    static constexpr u64 kBytesOfValue = 1200;
    static constexpr const char* kWaited = "a value of the formula, which waited for another";

    // A step that does not accumulate has its number and its bound alone.
    struct Value : Accumulated {
        std::size_t made = 0;  // by which operation
    };

    // The buffer of a value.
    static BigFloat at(u64 place, const Step& step, Word* words, const BigFloat& result) {
        Word* const buffer = place == kInResult ? result.buffer : words + place;
        return BigFloat(buffer, step.needs().result_words);
    }

    static void begin(Value& value, const BigFloat& buffer) {
        static_cast<Accumulated&>(value) = {.value = buffer, .error = ErrorBound::none()};
        value.value.clear();
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
