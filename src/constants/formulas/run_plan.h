// The run of a formula as a list of operations, each with its place in one memory.
//
// The tree is flattened, steps are made from the root down, because a step says how precise its children must
// be, and a variable must be as precise as its most demanding reader. Of a step's children the one that takes
// the most above what it leaves comes first; those of a scope keep their order, because variables are read by
// what follows. Then the run is played through once without numbers: each value gets the lowest place that is
// free from the operation that makes it to the last one that reads it, and moves down when its operands have
// gone. Working memory is above or between the values:
//
//   [value][value][    free    ][value][working memory of the operation]
//
// The caller's result is a place too, in which values may wait for each other until the formula's own is
// made; that one is then made in working memory and moved, where this takes less memory in all.
//
// Time and memory of planning grow linearly with the number of nodes, except for the part that depends on
// how many values are alive at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "arith/multiply/needs.h"
#include "constants/evaluator/evaluator.h"
#include "constants/formulas/formula_node.h"

namespace kalvor::Formulas {

inline constexpr u64 kNowhere = ~u64(0);
// The buffer of the caller's result.
inline constexpr u64 kInResult = kNowhere - 1;

struct PlannedValue {
    std::unique_ptr<Step> step;         // nullptr: the value of another
    std::size_t same_as = 0;            // that one; itself for a step
    std::vector<std::size_t> operands;  // the steps that the children's values come from
};

struct Operation {
    enum class Kind { finish, take, announce, copy_to_result };
    Kind kind;
    std::size_t value;        // which it makes, or takes into, or copies
    std::size_t child = 0;    // of a take: its number
    bool begins = false;      // of a take: the first of its value
    u64 place = kNowhere;     // of the value in words, or kInResult
    u64 scratch = 0;          // place of the working memory in words
    u64 moves_to = kNowhere;  // where the value goes afterwards
    const char* announcement = nullptr;
};

struct RunPlan {
    std::vector<PlannedValue> values;
    std::vector<Operation> operations;
    std::size_t root = 0;  // whose value is that of the formula
    Needs needs;
    u64 tds = 1;
};

RunPlan make_run_plan(const VFormulaNode& root, const EvaluatorRequest& request);

}  // namespace kalvor::Formulas
