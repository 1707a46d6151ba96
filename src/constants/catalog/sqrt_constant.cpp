#include "constants/catalog/sqrt_constant.h"

#include <limits>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"
#include "constants/builtin/square_root.h"
#include "constants/catalog/catalog.h"
#include "constants/catalog/constant_argument.h"

namespace kalvor {
namespace {

const ConstantRegistration<SqrtConstant> g_registration;

constexpr i64 kSmallest = 2;

// The number that the text means.
i64 checked(std::string_view text) {
    const char* const function = "SqrtConstant::SqrtConstant()";
    const i64 n = parsed_argument(text, function);
    if (n < kSmallest) {
        throw InvalidParametersException(function, std::to_string(n) + " is out of range.");
    }
    if (is_perfect_square(static_cast<u64>(n))) {
        throw InvalidParametersException(function, std::to_string(n) + " is a perfect square.");
    }
    return n;
}

}  // namespace

SqrtConstant::SqrtConstant(std::string_view argument) : n_(checked(argument)) {}

std::unique_ptr<Constant> SqrtConstant::ask() {
    Console::print_line("Square Root of n");
    for (;;) {
        const i64 n = Prompt::read_integer_in_range("n = ", kSmallest, std::numeric_limits<i64>::max(), 'T');
        if (!is_perfect_square(static_cast<u64>(n))) return std::make_unique<SqrtConstant>(std::to_string(n));
        Console::print_line("This number is a perfect square.");
        Console::print_line("Please choose something more interesting :)");
    }
}

const CatalogRow& SqrtConstant::row() const {
    return *catalog().find(kToken);
}

std::vector<AlgorithmRow> SqrtConstant::algorithms() const {
    return {{0, "newton", "Newton's Method", "Newton's Method", "", "1st order Newton's Method"}};
}

std::vector<std::string> SqrtConstant::algorithm_explanation() const {
    return {"    There are no alternate formulas for square roots. To verify sqrt(n),",
            "    compute sqrt(100*n) instead. The digits will be the same, but shifted",
            "    over by one digit."};
}

u64 SqrtConstant::integer_digits(u32 radix) const {
    return digits_of_number(integer_root(static_cast<u64>(n_)), radix);
}

std::unique_ptr<Evaluator> SqrtConstant::make_evaluator(const EvaluatorRequest& request) const {
    return SquareRoot(static_cast<Word>(n_)).make_evaluator(request);
}

}  // namespace kalvor
