// "ArcCoth" and "ArcSinlemn" as functions of formulas.
#include <memory>
#include <string>

#include "base/errors/exceptions.h"
#include "constants/builtin/arccoth.h"
#include "constants/builtin/arcsinlemn.h"
#include "constants/builtin/built_in_value.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"
#include "constants/formulas/leaf_node.h"

namespace kalvor {
namespace {

using Formulas::LeafNode;
using Formulas::Place;
using Formulas::VFormulaNode;

const char kArcCoth[] = "ArcCoth(x)";
const char kArcSinlemn[] = "ArcSinlemn(x/y)";
const char kZeroCoefficient[] = "CoefficientP cannot be zero.";

// The largest number whose fourth power is a word.
constexpr i64 kLargest = 65535;

void check_fourth_power(i64 value, const char* name) {
    if (value > kLargest) {
        throw InvalidParametersException(
            kArcSinlemn, std::string(name) + "^4 doesn't fit into a machine word: " + std::to_string(value));
    }
}

// A series that converges too slowly is refused when it is planned, not when the tree is built.
std::unique_ptr<VFormulaNode> make_arcsinlemn(const Config::Node& argument, const Place& place) {
    const Config::Object& object = argument.as<Config::Object>();
    object.check_keys({"x", "y", "Coefficient", "Power"});
    const i64 x = object.get_integer("x"), y = object.get_integer("y");
    const i64 coefficient = Formulas::integer_or(object, "Coefficient", 1);
    for (const i64 value : {x, y}) {
        if (value < 1) {
            throw InvalidParametersException(kArcSinlemn,
                                             "Argument for ArcSinlemn is invalid: " + std::to_string(value));
        }
    }
    check_fourth_power(x, "x");
    check_fourth_power(y, "y");
    if (x >= y) {
        throw InvalidParametersException(kArcSinlemn, "x must be less than y or series won't converge.");
    }
    if (16 * x > 15 * y) {
        throw InvalidParametersException(kArcSinlemn,
                                         "x/y is too close to 1.0. Series converges too slowly.");
    }
    const int power = Formulas::power_of(object, kArcSinlemn);
    if (coefficient == 0) throw InvalidParametersException(kArcSinlemn, kZeroCoefficient);
    return std::make_unique<LeafNode>(place, [coefficient, x, y, power](const EvaluatorRequest& request) {
        const ArcSinlemn value(coefficient, static_cast<Word>(x), static_cast<Word>(y), power);
        return labelled(value.make_evaluator(request), value.label());
    });
}

// The largest number whose square is a word.
constexpr i64 kLargestSquared = 4294967295;

std::unique_ptr<VFormulaNode> make_arccoth(const Config::Node& argument, const Place& place) {
    const Config::Object& object = argument.as<Config::Object>();
    object.check_keys({"x", "Coefficient", "Power"});
    const i64 x = object.get_integer("x");
    const i64 coefficient = Formulas::integer_or(object, "Coefficient", 1);
    if (x < 2) {
        throw InvalidParametersException(kArcCoth,
                                         "Argument must be greater than 1: x = " + std::to_string(x));
    }
    if (x > kLargestSquared) {
        throw InvalidParametersException(kArcCoth, "Argument is too large: x = " + std::to_string(x));
    }
    const int power = Formulas::power_of(object, kArcCoth);
    if (coefficient == 0) throw InvalidParametersException(kArcCoth, kZeroCoefficient);
    return std::make_unique<LeafNode>(place, [coefficient, x, power](const EvaluatorRequest& request) {
        const ArcCoth value(coefficient, static_cast<Word>(x), power);
        return labelled(value.make_evaluator(request), value.label());
    });
}

const Formulas::FunctionRegistration<LeafNode> g_arccoth("ArcCoth", make_arccoth);
const Formulas::FunctionRegistration<LeafNode> g_arcsinlemn("ArcSinlemn", make_arcsinlemn);

}  // namespace
}  // namespace kalvor
