#include "constants/catalog/log_constant.h"

#include <cmath>

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"
#include "constants/builtin/log_machin.h"
#include "constants/catalog/catalog.h"
#include "constants/catalog/constant_argument.h"

namespace kalvor {
namespace {

const ConstantRegistration<LogConstant> g_registration;

constexpr i64 kSmallest = 2;
constexpr i64 kLargest = (i64(1) << 31) - 1;

i64 checked(std::string_view text) {
    const char* const function = "LogConstant::LogConstant()";
    const i64 n = parsed_argument(text, function);
    if (n < kSmallest) throw InvalidParametersException(function, "Argument must be greater than 1.");
    if (n > kLargest) throw InvalidParametersException(function, std::to_string(n) + " is out of range.");
    return n;
}

// The report of a search that the user asked for: the label with the time, and whether the tables have a
// worse formula.
void report_generation(LogFormulaKind kind, const GeneratedLogFormula& generated) {
    constexpr int kDecimals = 3;
    Console::print_line(generating_label(kind) + Console::format_fixed(generated.seconds, kDecimals) +
                        " seconds");
    if (generated.better_than_table) Console::print_line(kHeuristicIsBetter);
}

GeneratedLogFormulas reported(GeneratedLogFormulas formulas) {
    report_generation(LogFormulaKind::primary, formulas.primary);
    report_generation(LogFormulaKind::secondary, formulas.secondary);
    return formulas;
}

std::string terms_text(const GeneratedLogFormula& generated) {
    return " Machin-like Formula (" + std::to_string(generated.formula.terms.size()) + " terms)";
}

}  // namespace

LogConstant::LogConstant(std::string_view argument)
    : n_(checked(argument)), formulas_(reported(generate_log_formulas(static_cast<u64>(n_)))) {}

std::unique_ptr<Constant> LogConstant::ask() {
    Console::print_line("Log(n)");
    const i64 n = Prompt::read_integer_in_range("n = ", kSmallest, kLargest, 'T');
    return std::make_unique<LogConstant>(std::to_string(n));
}

const CatalogRow& LogConstant::row() const {
    return *catalog().find(kToken);
}

// Their numbers are those of LogFormulaKind.
std::vector<AlgorithmRow> LogConstant::algorithms() const {
    return {{0, "machin-primary", "Machin (primary)", "Primary" + terms_text(formulas_.primary), ""},
            {1, "machin-secondary", "Machin (secondary)", "Secondary" + terms_text(formulas_.secondary), ""}};
}

// No logarithm of an integer above 1 is an integer, so a double tells its whole part.
u64 LogConstant::integer_digits(u32 radix) const {
    return digits_of_number(static_cast<u64>(std::log(static_cast<double>(n_))), radix);
}

std::unique_ptr<Evaluator> LogConstant::make_evaluator(const EvaluatorRequest& request) const {
    const auto kind = static_cast<LogFormulaKind>(algorithm());
    return LogMachin(static_cast<u64>(n_), formulas_.of(kind).formula).make_evaluator(request);
}

}  // namespace kalvor
