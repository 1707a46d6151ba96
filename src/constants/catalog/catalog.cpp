#include "constants/catalog/catalog.h"

#include <utility>

#include "base/errors/exceptions.h"

namespace kalvor {

using Config::NodeType;
using Config::Object;

namespace {

constexpr const char* kContext = "Custom Compute";
// The row of an object in place of the token.
constexpr std::string_view kFormulaToken = "custom";

constexpr std::string_view kSqrt[] = {"sqrt"};
constexpr std::string_view kGoldenRatio[] = {"goldenratio", "phi"};
constexpr std::string_view kE[] = {"e"};
constexpr std::string_view kPi[] = {"pi"};
constexpr std::string_view kLog[] = {"log"};
constexpr std::string_view kZeta3[] = {"zeta3", "apery", "zeta(3)"};
constexpr std::string_view kCatalan[] = {"catalan"};
constexpr std::string_view kLemniscate[] = {"lemniscate"};
constexpr std::string_view kGamma[] = {"gamma"};
constexpr std::string_view kBrent[] = {"brent"};
constexpr std::string_view kCustom[] = {kFormulaToken};

// The difficulty is relative to a radix conversion of the same size, one number an algorithm.
constexpr CatalogRow kRows[] = {
    {0, kSqrt, 'P', "Sqrt(n)", "", "  1.46", CatalogGroup::fast},
    {1, kGoldenRatio, 'P', "Golden Ratio", "1.618034...", "  1.46", CatalogGroup::fast},
    {2, kE, 'P', "e", "2.718281...", "  3.88 / 3.88", CatalogGroup::fast},
    {3, kPi, 'G', "Pi", "3.141592...", "  13.2 / 19.9", CatalogGroup::moderate},
    {4, kLog, 'G', "Log(n)", "", "> 35.7", CatalogGroup::moderate},
    {5, kZeta3, 'G', "Zeta(3) (Apery's Constant)", "1.202056...", "  62.8 / 65.7", CatalogGroup::moderate},
    {6, kCatalan, 'G', "Catalan's Constant", "0.915965...", "  78.0 / 105.", CatalogGroup::moderate},
    {7, kLemniscate, 'G', "Lemniscate", "5.244115...", "  60.4 / 124. / 154.", CatalogGroup::moderate},
    {8, kGamma, 'B', "Euler-Mascheroni Constant", "0.577215...", "  383. / 574.", CatalogGroup::slow},
    {9, kBrent, 'B', "Euler-Mascheroni Constant (parameter override)", "", "", CatalogGroup::other},
    {10, kCustom, 'R', "Custom constant with user-defined formula.", "", "", CatalogGroup::other},
};

// An integer is its text.
std::string text_of(const Object& object, std::string_view key) {
    const Config::Node& node = object.get(key);
    if (node.type() == NodeType::integer) return std::to_string(node.as<Config::Integer>().value);
    return node.as<Config::String>(kContext).value;
}

Catalog& program_catalog() {
    static Catalog catalog(kRows);
    return catalog;
}

}  // namespace

ConstantFactory::~ConstantFactory() = default;

std::unique_ptr<Constant> ConstantFactory::load(const Object& object) const {
    if (takes_argument()) {
        object.check_keys({"Constant", "Argument", "Algorithm"});
    } else {
        object.check_keys({"Constant", "Algorithm"});
    }
    std::unique_ptr<Constant> constant =
        make(takes_argument() ? std::to_string(object.get_integer("Argument", kContext)) : std::string());
    constant->select_algorithm(text_of(object, "Algorithm"));
    return constant;
}

const CatalogRow* Catalog::find(std::string_view token) const {
    for (const CatalogRow& row : rows_) {
        for (const std::string_view each : row.tokens) {
            if (each == token) return &row;
        }
    }
    return nullptr;
}

const CatalogRow* Catalog::find(u64 number) const {
    for (const CatalogRow& row : rows_) {
        if (row.number == number) return &row;
    }
    return nullptr;
}

const ConstantFactory* Catalog::factory(const CatalogRow& row) const {
    const ConstantFactory* const* const found = factories_.find(row.tokens.front());
    return found ? *found : nullptr;
}

std::vector<std::string> Catalog::tokens() const {
    std::vector<std::string> tokens;
    for (const CatalogRow& row : rows_) {
        if (factory(row)) tokens.insert(tokens.end(), row.tokens.begin(), row.tokens.end());
    }
    return tokens;
}

void Catalog::add(std::string_view token, const ConstantFactory& factory) {
    const CatalogRow* const row = find(token);
    if (!row) refuse_registration("Constant without a row: " + std::string(token));
    factories_.add(std::string(row->tokens.front()), &factory);
}

const ConstantFactory& Catalog::factory_of(std::string_view token) const {
    if (token.empty()) throw InvalidParametersException("make_constant()", "Invalid constant token.");
    const CatalogRow* const row = find(token);
    if (!row || !factory(*row)) {
        throw InvalidParametersException("make_constant()", "Invalid Constant: " + std::string(token));
    }
    return *factory(*row);
}

std::unique_ptr<Constant> Catalog::make(std::string_view token, std::string_view argument) const {
    const ConstantFactory& factory = factory_of(token);
    if (!argument.empty() && !factory.takes_argument()) {
        throw InvalidParametersException(
            "make_constant()",
            "The constant \"" + std::string(token) + "\" takes no argument: " + std::string(argument));
    }
    return factory.make(argument);
}

std::unique_ptr<Constant> Catalog::load(const Object& object) const {
    if (object.get("Constant").type() == NodeType::object) return factory_of(kFormulaToken).load(object);
    return factory_of(object.get_string("Constant", kContext)).load(object);
}

const Catalog& catalog() {
    return program_catalog();
}

std::span<const CatalogRow> catalog_rows() {
    return catalog().rows();
}

bool constant_takes_argument(std::string_view token) {
    return catalog().factory_of(token).takes_argument();
}

std::string names_with_extractor() {
    std::string names;
    for (const CatalogRow& row : catalog_rows()) {
        const ConstantFactory* const factory = catalog().factory(row);
        if (!factory || factory->takes_argument() || !factory->make({})->has_extractor()) continue;
        names += (names.empty() ? "" : ", ") + std::string(row.name);
    }
    return names;
}

std::unique_ptr<Constant> make_constant(std::string_view token, std::string_view argument) {
    return catalog().make(token, argument);
}

std::unique_ptr<Constant> load_constant(const Object& object) {
    return catalog().load(object);
}

std::vector<ConstantUse> constant_uses() {
    std::vector<ConstantUse> uses;
    for (const CatalogRow& row : catalog_rows()) {
        const ConstantFactory* const factory = catalog().factory(row);
        if (!factory) continue;
        const std::string argument(factory->argument_name());
        ConstantUse use;
        for (const std::string_view token : row.tokens) {
            use.forms.push_back(std::string(token) + (argument.empty() ? "" : ":<" + argument + ">"));
        }
        use.algorithms = factory->algorithm_tokens();
        uses.push_back(std::move(use));
    }
    return uses;
}

std::vector<std::string> constant_tokens() {
    return catalog().tokens();
}

void register_constant(std::string_view token, const ConstantFactory& factory) {
    program_catalog().add(token, factory);
}

}  // namespace kalvor
