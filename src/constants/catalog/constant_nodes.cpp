// The constants as functions of formulas: a row for each, its algorithms by their words. Series of a user's
// own stand in a file beside this one.
#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/builtin/catalan.h"
#include "constants/builtin/e.h"
#include "constants/builtin/euler_gamma.h"
#include "constants/builtin/golden_ratio.h"
#include "constants/builtin/lemniscate.h"
#include "constants/builtin/pi.h"
#include "constants/builtin/zeta3.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"
#include "constants/formulas/leaf_node.h"

namespace kalvor {
namespace {

using Formulas::LeafNode;
using Formulas::Place;
using Formulas::VFormulaNode;

struct ConstantRow {
    const char* function;
    // The first is the one without the key; none: there is no such key.
    std::vector<std::string> algorithms;
    const char* refusal;  // of another word
    // algorithm: its number in the list.
    std::shared_ptr<const EvaluatorFactory> (*make)(std::size_t algorithm, int power);
    bool has_power = true;
};

using Shared = std::shared_ptr<const EvaluatorFactory>;

const std::vector<ConstantRow>& rows() {
    static const std::vector<ConstantRow> rows = {
        {"Pi",
         {"chudnovsky", "ramanujan"},
         "Algorithm must be \"chudnovsky\" or \"ramanujan\".",
         [](std::size_t algorithm, int power) {
             return Shared(std::make_shared<const Pi>(
                 algorithm == 0 ? PiAlgorithm::chudnovsky : PiAlgorithm::ramanujan, power));
         }},
        {"Zeta3",
         {"wedeniwski", "az"},
         "Algorithm must be \"wedeniwski\" or \"az\".",
         [](std::size_t algorithm, int power) {
             return Shared(std::make_shared<const Zeta3>(
                 algorithm == 0 ? Zeta3Algorithm::wedeniwski : Zeta3Algorithm::amdeberhan_zeilberger, power));
         }},
        {"Catalan",
         {"pilehrood-short", "pilehrood-long"},
         "Algorithm must be \"pilehrood-short\" or \"pilehrood-long\".",
         [](std::size_t algorithm, int power) {
             return Shared(std::make_shared<const Catalan>(
                 algorithm == 0 ? CatalanAlgorithm::pilehrood_short : CatalanAlgorithm::pilehrood_long,
                 power));
         }},
        {"E",
         {},
         "",
         [](std::size_t, int power) {
             return Shared(
                 std::make_shared<const E>(power == 1 ? EAlgorithm::exp_1 : EAlgorithm::exp_minus_1, power));
         }},
        {"GoldenRatio",
         {},
         "",
         [](std::size_t, int power) { return Shared(std::make_shared<const GoldenRatio>(power)); }},
        {"Lemniscate",
         {"agm-pi", "gauss", "sebah"},
         "Algorithm must be \"agm-pi\", \"gauss\", or \"sebah\".",
         [](std::size_t algorithm, int power) {
             return Shared(
                 std::make_shared<const Lemniscate>(static_cast<LemniscateAlgorithm>(algorithm), power));
         }},
        {"EulerGamma",
         {"brent-refined", "brent-original"},
         "Algorithm must be \"brent-refined\" or \"brent-original\".",
         [](std::size_t algorithm, int) {
             return Shared(std::make_shared<const EulerGamma>(static_cast<GammaAlgorithm>(algorithm)));
         },
         false},
    };
    return rows;
}

std::unique_ptr<VFormulaNode> make_constant_node(const ConstantRow& row, const Config::Node& argument,
                                                 const Place& place) {
    const Config::Object& object = argument.as<Config::Object>();
    std::vector<std::string_view> keys;
    if (row.has_power) keys.push_back("Power");
    if (!row.algorithms.empty()) keys.push_back("Algorithm");
    object.check_keys(keys);
    const int power = row.has_power ? Formulas::power_of(object, row.function) : 1;
    std::size_t algorithm = 0;
    if (object.contains("Algorithm")) {
        const auto found =
            std::find(row.algorithms.begin(), row.algorithms.end(), object.get_string("Algorithm"));
        if (found == row.algorithms.end()) throw InvalidParametersException(row.function, row.refusal);
        algorithm = static_cast<std::size_t>(found - row.algorithms.begin());
    }
    const std::shared_ptr<const EvaluatorFactory> constant = row.make(algorithm, power);
    return std::make_unique<LeafNode>(
        place, [constant](const EvaluatorRequest& request) { return constant->make_evaluator(request); });
}

struct Registrations {
    Registrations() {
        for (const ConstantRow& row : rows()) {
            Formulas::register_function(row.function,
                                        [&row](const Config::Node& argument, const Place& place) {
                                            return make_constant_node(row, argument, place);
                                        });
        }
    }
};
const Registrations g_registrations;

}  // namespace
}  // namespace kalvor
