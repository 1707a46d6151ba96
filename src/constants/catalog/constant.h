// What the session knows of a constant: its names, its bounds, its algorithms, what a computation of it
// needs, and how to run it.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/console/colors.h"
#include "base/names/names.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor {

// Where the numbers of a computation are.
enum class ComputationMode { ram, swap };

enum class CatalogGroup { fast, moderate, slow, other };

// A constant as menus show it and settings name it, whether this version computes it or not.
struct CatalogRow {
    u64 number;                                // in the menu
    std::span<const std::string_view> tokens;  // one or more; settings files get the first
    Console::ColorLetter color;
    std::string_view name;
    std::string_view value;       // the first digits; empty where they depend on an argument
    std::string_view difficulty;  // with its leading blanks
    CatalogGroup group;
};

// One way to compute a constant.
struct AlgorithmRow {
    u64 number;         // in the menu; a token too
    std::string token;  // of settings files
    std::string name_short, name_long;
    std::string note;            // behind the name in the menu
    std::string menu_name = {};  // where the menu has another than name_long
    std::string alias = {};      // a token too, which settings files do not get
};

// Its evaluators compute it by the chosen algorithm.
class Constant : public EvaluatorFactory {
  public:
    virtual const CatalogRow& row() const = 0;
    std::string token() const { return std::string(row().tokens.front()); }
    Console::ColorLetter color() const { return row().color; }

    virtual std::string name_short() const = 0;  // file names: "Pi"
    virtual std::string name_long() const = 0;   // records: "Pi"
    virtual std::string header_name() const { return name_long(); }
    // n of Sqrt(n); nothing for most constants.
    virtual std::optional<i64> argument() const { return std::nullopt; }

    // In the order of their numbers, from 0 on; one or more.
    virtual std::vector<AlgorithmRow> algorithms() const = 0;
    // What the menu says below them.
    virtual std::vector<std::string> algorithm_explanation() const { return {}; }
    // The chosen one.
    u64 algorithm() const { return algorithm_; }
    std::string algorithm_token() const { return algorithm_row().token; }
    std::string algorithm_short() const { return algorithm_row().name_short; }
    std::string algorithm_long() const { return algorithm_row().name_long; }
    // A word for each, in the order of their numbers: the alias where there is one.
    std::vector<std::string> algorithm_tokens() const;
    // By number, token or alias. Throws InvalidParametersException "Invalid Algorithm: " + token.
    virtual void select_algorithm(std::string_view token);
    // Lists them, asks for one and selects it. Throws EndOfStreamException at the end of the input.
    void algorithm_menu();

    virtual u64 min_decimal_digits() const { return 100; }
    virtual u64 max_decimal_digits() const { return 1000000000000000; }
    // How many digits stand before the point.
    virtual u64 integer_digits(u32 radix) const {
        (void)radix;
        return 1;
    }

    // This version has no swap mode for any constant.
    virtual bool supports(ComputationMode mode) const { return mode == ComputationMode::ram; }

    // Whether hexadecimal digits of it can be computed at any position without those before them
    // (digits/bbp).
    virtual bool has_extractor() const { return false; }

    // The "Constant" object of a settings file, from which load_constant() makes this one again.
    virtual std::unique_ptr<Config::Object> to_config() const;

  private:
    AlgorithmRow algorithm_row() const;

    u64 algorithm_ = 0;
};

}  // namespace kalvor
