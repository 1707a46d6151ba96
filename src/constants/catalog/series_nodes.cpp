// Series as functions of formulas: those that a user gives by polynomials, that of e, and the built-in ones
// with coefficients of the user's own.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/bsr/e_taylor.h"
#include "constants/bsr/polynomial_series.h"
#include "constants/builtin/built_in_series.h"
#include "constants/builtin/built_in_value.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"
#include "constants/formulas/leaf_node.h"

namespace kalvor {
namespace {

using BinarySplitting::Coefficients;
using BinarySplitting::PolynomialCoefficients;
using Formulas::LeafNode;
using Formulas::Place;
using Formulas::VFormulaNode;

const char kHyperdescent[] = "SeriesHyperdescent()";
const char kHypergeometric[] = "SeriesHypergeometric()";
const char kBinaryBBP[] = "SeriesBinaryBBP()";
const char kETaylor[] = "SeriesETaylor()";

// Polynomials whose values are multiplied over the terms.
constexpr u64 kManyCoefficients = 32, kMostCoefficients = 63;

[[noreturn]] void refuse(const char* function, const std::string& what) {
    throw InvalidParametersException(function, what);
}

// What every series has: ((P S + Q) / D)^power.
struct Value {
    i64 P, Q, D;
    int power;

    Coefficients coefficients() const { return {P, Q, static_cast<Word>(D), power, false}; }
};

Value value_of(const Config::Object& object, const char* function) {
    const int power = Formulas::power_of(object, function);
    const i64 P = object.get_integer("CoefficientP");
    if (P == 0) refuse(function, "CoefficientP cannot be zero.");
    const i64 Q = object.get_integer("CoefficientQ");
    const i64 D = object.get_integer("CoefficientD");
    if (D < 1) refuse(function, "CoefficientD must be positive.");
    // A plain 64-bit number always fits.
    if (static_cast<i64>(static_cast<Word>(D)) != D) refuse(function, "CoefficientD is too large.");
    return {P, Q, D, power};
}

PolynomialCoefficients polynomial_of(const Config::Object& object, const char* key) {
    PolynomialCoefficients coefficients;
    for (const auto& element : object.get_array(key).elements) {
        coefficients.push_back(Formulas::integer_of(*element));
    }
    return coefficients;
}

void warn_of_degree(const Place& place, const PolynomialCoefficients& p, const std::string& name) {
    if (p.size() <= kManyCoefficients) return;
    place.warning("Warning: " + name + " is of very high degree. May take a while to process...");
}

void check_degree(const char* function, const PolynomialCoefficients& p) {
    if (p.size() > kMostCoefficients) refuse(function, "Polynomial degree limit is 62.");
}

void pass_on(const Place& place, const Polynomials::Remarks& remarks) {
    for (const Warnings::Line& line : remarks) place.warning(line.text);
}

std::unique_ptr<VFormulaNode> make_hyperdescent(const Config::Node& argument, const Place& place) {
    const Config::Object& object = argument.as<Config::Object>();
    object.check_keys(
        {"Power", "CoefficientP", "CoefficientQ", "CoefficientD", "PolynomialP", "PolynomialQ"});
    const Value value = value_of(object, kHyperdescent);
    const PolynomialCoefficients P = polynomial_of(object, "PolynomialP");
    const PolynomialCoefficients Q = polynomial_of(object, "PolynomialQ");
    warn_of_degree(place, Q, "Q(x)");
    check_degree(kHyperdescent, Q);
    Polynomials::Remarks remarks;
    const auto data = std::make_shared<const BinarySplitting::SeriesHyperdescent_PolyData>(P, Q, &remarks);
    pass_on(place, remarks);
    return std::make_unique<LeafNode>(place, [data, value](const EvaluatorRequest& request) {
        return BinarySplitting::make_evaluator(data, value.coefficients(), request);
    });
}

std::unique_ptr<VFormulaNode> make_hypergeometric(const Config::Node& argument, const Place& place) {
    const Config::Object& object = argument.as<Config::Object>();
    object.check_keys({"Power", "CoefficientP", "CoefficientQ", "CoefficientD", "PolynomialP", "PolynomialQ",
                       "PolynomialR"});
    const Value value = value_of(object, kHypergeometric);
    const PolynomialCoefficients P = polynomial_of(object, "PolynomialP");
    const PolynomialCoefficients Q = polynomial_of(object, "PolynomialQ");
    const PolynomialCoefficients R = polynomial_of(object, "PolynomialR");
    warn_of_degree(place, Q, "Q(x)");
    warn_of_degree(place, R, "R(x)");
    check_degree(kHypergeometric, Q);
    check_degree(kHypergeometric, R);
    if (R.size() == 1 && (R[0] == 1 || R[0] == -1)) {
        place.warning("Warning: |R(x)| = 1. Consider using SeriesHyperdescent instead.");
    }
    Polynomials::Remarks remarks;
    const auto data =
        std::make_shared<const BinarySplitting::SeriesHypergeometric_PolyData>(P, Q, R, &remarks);
    pass_on(place, remarks);
    return std::make_unique<LeafNode>(place, [data, value](const EvaluatorRequest& request) {
        return BinarySplitting::make_evaluator(data, value.coefficients(), request);
    });
}

std::unique_ptr<VFormulaNode> make_binary_bbp(const Config::Node& argument, const Place& place) {
    const Config::Object& object = argument.as<Config::Object>();
    object.check_keys({"Power", "CoefficientP", "CoefficientQ", "CoefficientD", "Alternating", "PowerCoef",
                       "PowerShift", "PolynomialP", "PolynomialQ"});
    const Value value = value_of(object, kBinaryBBP);
    const bool alternating = object.get_bool("Alternating");
    const i64 power = object.get_integer("PowerCoef");
    if (power < -1024 || power > -1) refuse(kBinaryBBP, "PowerCoef must be in [-1024, -1].");
    const i64 shift = object.get_integer("PowerShift");
    if (shift < -1023 || shift > 1023) refuse(kBinaryBBP, "PowerShift must be in [-1023, 1023].");
    const PolynomialCoefficients P = polynomial_of(object, "PolynomialP");
    const PolynomialCoefficients Q = polynomial_of(object, "PolynomialQ");
    warn_of_degree(place, Q, "Q(x)");
    check_degree(kBinaryBBP, Q);
    Polynomials::Remarks remarks;
    const auto data = std::make_shared<const BinarySplitting::SeriesBinaryBBP_PolyData>(
        static_cast<u64>(-power), P, Q, &remarks);
    pass_on(place, remarks);
    return std::make_unique<LeafNode>(
        place, [data, alternating, shift, value](const EvaluatorRequest& request) {
            return BinarySplitting::make_evaluator(data, alternating, shift, value.coefficients(), request);
        });
}

// Its sum begins with 1/2!.
std::unique_ptr<VFormulaNode> make_e_taylor(const Config::Node& argument, const Place& place) {
    const Config::Object& object = argument.as<Config::Object>();
    object.check_keys({"Power", "CoefficientP", "CoefficientQ", "CoefficientD", "Alternating"});
    const Value value = value_of(object, kETaylor);
    const bool alternating = object.get_bool("Alternating");
    if (!alternating && value.power == -1) {
        refuse(kETaylor, "Inversion not supported for non-alternating series.");
    }
    return std::make_unique<LeafNode>(place, [alternating, value](const EvaluatorRequest& request) {
        return BinarySplitting::make_series_evaluator<BinarySplitting::Hyperdescent::Family>(
            std::make_shared<const BinarySplitting::ETaylor>(alternating, request.precision),
            value.coefficients(), request, BinarySplitting::SeriesMemory::full);
    });
}

std::unique_ptr<VFormulaNode> make_built_in(const BuiltInSeries& row, const Config::Node& argument,
                                            const Place& place) {
    const Config::Object& object = argument.as<Config::Object>();
    object.check_keys({"Power", "CoefficientP", "CoefficientQ", "CoefficientD"});
    const Value value = value_of(object, (std::string(row.node) + "()").c_str());
    const auto series = std::make_shared<const BuiltInValue>(row, value.P, value.Q, value.D, value.power);
    return std::make_unique<LeafNode>(
        place, [series](const EvaluatorRequest& request) { return series->make_evaluator(request); });
}

const Formulas::FunctionRegistration<LeafNode> g_hyperdescent("SeriesHyperdescent", make_hyperdescent);
const Formulas::FunctionRegistration<LeafNode> g_binary_bbp("SeriesBinaryBBP", make_binary_bbp);
const Formulas::FunctionRegistration<LeafNode> g_hypergeometric("SeriesHypergeometric", make_hypergeometric);
const Formulas::FunctionRegistration<LeafNode> g_e_taylor("SeriesETaylor", make_e_taylor);

struct BuiltInRegistrations {
    BuiltInRegistrations() {
        for (const auto& rows : {pi_series(), zeta3_series(), catalan_series()}) {
            for (const BuiltInSeries& row : rows) {
                if (row.node == nullptr) continue;
                Formulas::register_function(row.node,
                                            [&row](const Config::Node& argument, const Place& place) {
                                                return make_built_in(row, argument, place);
                                            });
            }
        }
    }
};
const BuiltInRegistrations g_built_in;

}  // namespace
}  // namespace kalvor
