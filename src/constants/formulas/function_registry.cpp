#include "constants/formulas/function_registry.h"

#include "base/registry/named.h"

namespace kalvor::Formulas {
namespace {

constexpr const char* kOrder[] = {"Integer",
                                  "LoadVariable",
                                  "Scope",
                                  "Shift",
                                  "Multiply",
                                  "Divide",
                                  "Power",
                                  "LinearCombination",
                                  "Invsqrt",
                                  "Sqrt",
                                  "InvNthRoot",
                                  "AGM",
                                  "ArcCoth",
                                  "ArcSinlemn",
                                  "Log",
                                  "Log-AGM",
                                  "GoldenRatio",
                                  "E",
                                  "Pi",
                                  "Zeta3",
                                  "Catalan",
                                  "Lemniscate",
                                  "EulerGamma",
                                  "SeriesHyperdescent",
                                  "SeriesBinaryBBP",
                                  "SeriesHypergeometric",
                                  "SeriesETaylor",
                                  "SeriesPiChudnovsky",
                                  "SeriesPiRamanujan",
                                  "SeriesZeta3Wedeniwski",
                                  "SeriesZeta3AZ1",
                                  "SeriesCatalanPilehoodShort",
                                  "SeriesCatalanPilehoodLong",
                                  "SeriesCatalanGuillera2008",
                                  "SeriesCatalanGuillera2019"};

Named<NodeFactory>& functions() {
    static Named<NodeFactory> functions("Duplicate Function Name", kOrder);
    return functions;
}

}  // namespace

void register_function(const std::string& name, NodeFactory factory) {
    functions().add(name, std::move(factory));
}

const NodeFactory* find_function(std::string_view name) {
    return functions().find(name);
}

std::vector<std::string> function_names() {
    return functions().names();
}

}  // namespace kalvor::Formulas
