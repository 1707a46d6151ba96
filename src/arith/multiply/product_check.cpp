#include "arith/multiply/product_check.h"

#include <iomanip>
#include <sstream>
#include <string>

#include "base/errors/exceptions.h"

namespace trel {
namespace {

constexpr u64 kMaxCorrected = 3;  // the one that ends the run

std::string described(const CheckedProduct& product) {
    return std::string(product.operation) + " by " + product.algorithm + ", " +
           std::to_string(product.words) + " words";
}

}  // namespace

void product_is_wrong(const CheckedProduct& product, u64 right, u64 found) {
    throw ConvolutionFailedException(product.algorithm,
                                     "The product does not fit its operands: " + described(product) + ".",
                                     right, found);
}

void operand_is_damaged(const CheckedProduct& product, u64 before, u64 now) {
    throw ConvolutionFailedException(
        product.algorithm, "An operand was damaged in memory: " + described(product) + ".", before, now);
}

void number_is_damaged(const char* operation, const char* name, u64 words, u64 carried, u64 found) {
    const auto hexadecimal = [](u64 x) {
        std::ostringstream out;
        out << std::hex << std::setw(16) << std::setfill('0') << x;
        return out.str();
    };
    throw AlgorithmFailedException(operation, "A number was damaged in memory: " + std::string(name) + ", " +
                                                  std::to_string(words) + " words.\nIts residue was " +
                                                  hexadecimal(carried) + " and is " + hexadecimal(found) +
                                                  ".");
}

void product_was_corrected(const CheckedProduct& product) {
    error_was_corrected(product.parallel, product.algorithm, described(product));
}

void error_was_corrected(const ParallelContext& parallel, const char* function,
                         const std::string& operation) {
    parallel.warn({{"Computation error detected and corrected.", ' ', true}, {"Operation: " + operation}});
    if (parallel.run == nullptr) return;
    if (parallel.run->checks.corrected.fetch_add(1) + 1 < kMaxCorrected) return;
    throw AlgorithmFailedException(function,
                                   "Three computation errors in one run: this machine cannot be trusted.");
}

}  // namespace trel
