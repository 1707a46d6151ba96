// What the session knows of a constant: its names, its bounds, what a computation of it needs, and how to run
// it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "base/console/colors.h"
#include "base/status/status.h"

namespace kalvor {

using trel::BigFloat;
using trel::MultiplyContext;
using trel::Status;
using trel::u64;

// Made before a run; the run stays inside it.
class ConstantPlan {
  public:
    virtual ~ConstantPlan();
    // Words of the result's buffer (carved from the front of the working region), a multiple of 8.
    virtual u64 result_words() const = 0;
    // Bytes of working memory beside the result.
    virtual u64 working_bytes() const = 0;
    // Words of the largest product, for the shared transform tables.
    virtual u64 max_product_words() const = 0;
    // The phases of a run, in seconds of one core; none when nothing is known of them.
    virtual std::vector<trel::WorkPhase> work() const { return {}; }
    // Blocks of the sum, and how many of them the run checks by their residues.
    virtual u64 series_blocks() const { return 0; }
    virtual u64 series_blocks_checked() const { return 0; }
    // What the run announces itself with, for the log of its steps; empty when it does not.
    virtual std::string label() const { return {}; }
    // result = the constant to the plan's precision; context.scratch holds working_bytes().
    virtual void run(const MultiplyContext& context, Status& status, BigFloat& result) const = 0;
};

class Constant {
  public:
    virtual ~Constant();
    virtual std::string name_short() const = 0;  // file names: "Pi"
    virtual std::string name_long() const = 0;   // header: "Pi"
    virtual trel::Console::ColorLetter color() const = 0;
    virtual std::string algorithm_short() const = 0;
    virtual std::string algorithm_long() const = 0;
    virtual u64 max_decimal_digits() const = 0;
    // What make_constant() and select_algorithm() know this constant and its algorithm by.
    virtual std::string token() const = 0;
    virtual std::string algorithm_token() const = 0;
    // Every token that select_algorithm() takes beside their numbers, in the order of these.
    virtual std::vector<std::string> algorithm_tokens() const = 0;
    // By number or token. Throws InvalidParametersException "Invalid Algorithm: " + token.
    virtual void select_algorithm(const std::string& token) = 0;
    // precision in words, largest number of tasks
    virtual std::unique_ptr<ConstantPlan> plan(u64 precision_words, u64 tds) const = 0;
};

// By token ("pi"). Throws InvalidParametersException "Invalid constant token." / "Invalid Constant: " +
// token.
std::unique_ptr<Constant> make_constant(const std::string& token);
// Every token that make_constant() takes.
std::vector<std::string> constant_tokens();

using ConstantFactory = std::unique_ptr<Constant> (*)();
// A token that is already there is fatal: "Duplicate Constant: " and the token, exit code 1.
void register_constant(const std::string& token, ConstantFactory factory);

// Registers the constant of a class under the class's token, in a static initialiser.
template <class C>
struct ConstantRegistration {
    ConstantRegistration() {
        register_constant(C::kToken, [] { return std::unique_ptr<Constant>(std::make_unique<C>()); });
    }
};

}  // namespace kalvor
