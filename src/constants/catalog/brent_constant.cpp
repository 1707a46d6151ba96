#include "constants/catalog/brent_constant.h"

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/errors/plain_words.h"
#include "base/prompt/prompt.h"
#include "constants/builtin/euler_gamma.h"
#include "constants/catalog/catalog.h"
#include "constants/catalog/constant_argument.h"

namespace kalvor {
namespace {

const ConstantRegistration<BrentConstant> g_registration;

constexpr i64 kSmallest = 1;
constexpr i64 kLargest = EulerGamma::kLargestK;

i64 checked(std::string_view text) {
    const char* const function = "BrentConstant::BrentConstant()";
    const i64 k = parsed_argument(text, function);
    if (k < kSmallest) throw InvalidParametersException(function, "Argument must be greater than 0.");
    if (k > kLargest) throw InvalidParametersException(function, std::to_string(k) + " is out of range.");
    return k;
}

}  // namespace

BrentConstant::BrentConstant(std::string_view argument) : k_(checked(argument)) {}

std::unique_ptr<Constant> BrentConstant::ask() {
    Console::print_line("n = 2^k");
    const i64 k = Prompt::read_integer_in_range("k = ", kSmallest, kLargest, 'T');
    return std::make_unique<BrentConstant>(std::to_string(k));
}

const CatalogRow& BrentConstant::row() const {
    return *catalog().find(kToken);
}

// Their numbers are those of GammaAlgorithm.
std::vector<AlgorithmRow> BrentConstant::algorithms() const {
    const auto with = [](const char* name, i64 exponent) {
        return std::string(name) + " ( n = 2^" + std::to_string(exponent) + ")";
    };
    const char* const refined = "Brent-McMillan with Refinement";
    const char* const plain = "Brent-McMillan";
    return {{0, "0", "Brent-McMillan (refined)", refined, "", with(refined, k_ - 1), "brent-refined"},
            {1, "1", plain, plain, "", with(plain, k_), "brent-original"}};
}

std::unique_ptr<Evaluator> BrentConstant::make_evaluator(const EvaluatorRequest& request) const {
    const u64 k = static_cast<u64>(k_);
    try {
        return EulerGamma(static_cast<GammaAlgorithm>(algorithm()), k).make_evaluator(request);
    } catch (const LimitExceededException&) {
        if (k <= EulerGamma::parameter_for(request.precision)) throw;
        throw ExplainedException(std::to_string(k) + " is out of range.",
                                 "brent:" + std::to_string(k) +
                                     " has a parameter that is far too large for so few digits. Take a "
                                     "smaller one, or \"gamma\", which finds its own.\n"
                                     "See \"kalvor help custom\".",
                                 "BrentConstant::make_evaluator()");
    }
}

}  // namespace kalvor
