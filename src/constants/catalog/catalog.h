// The constants that the program knows, as a table of rows, and how one is made from what a user names.
//
// A row is what a menu shows, whether this version computes the constant or not. A constant that is computed
// registers a factory for its row; the token of a row without one is as unknown as any other word.
#pragma once

#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/names/names.h"
#include "base/registry/named.h"
#include "constants/catalog/constant.h"

namespace kalvor {

// How the constant of a row is made. Stateless; of static lifetime.
class ConstantFactory {
  public:
    virtual ~ConstantFactory();
    // argument: what stands behind the token's colon on a command line; empty when there is none, and
    // always without takes_argument().
    virtual std::unique_ptr<Constant> make(std::string_view argument) const = 0;
    // Whether a command line's word may have an argument; the constant's object then has the key "Argument".
    virtual bool takes_argument() const { return false; }
    // What that argument is called in forms ("n"); empty without takes_argument().
    virtual std::string_view argument_name() const { return {}; }
    // Constant::algorithm_tokens(), which are the same for every argument; none where there is no choice.
    virtual std::vector<std::string> algorithm_tokens() const { return make({})->algorithm_tokens(); }
    // From the whole "Constant" object, whose token has been looked at. By default the keys "Constant",
    // "Argument" if there is one, and "Algorithm", and no others; integers are taken as their text.
    virtual std::unique_ptr<Constant> load(const Config::Object& object) const;
    // Once it is chosen from the menu: asks for what it wants to know. nullptr: the user cancelled.
    virtual std::unique_ptr<Constant> ask() const { return make({}); }
};

// The factory of a class that its argument makes, and its own ask() and load() where it has them. A class
// with an argument says in kArgument and kAlgorithms what a factory tells of it without one.
template <class C>
class ConstantFactoryOf final : public ConstantFactory {
  public:
    std::unique_ptr<Constant> make(std::string_view argument) const override {
        return std::make_unique<C>(argument);
    }
    bool takes_argument() const override { return C::kTakesArgument; }
    std::string_view argument_name() const override {
        if constexpr (C::kTakesArgument) {
            return C::kArgument;
        } else {
            return {};
        }
    }
    std::vector<std::string> algorithm_tokens() const override {
        if constexpr (C::kTakesArgument) {
            return {std::begin(C::kAlgorithms), std::end(C::kAlgorithms)};
        } else {
            return ConstantFactory::algorithm_tokens();
        }
    }
    std::unique_ptr<Constant> load(const Config::Object& object) const override {
        if constexpr (requires { C::load(object); }) {
            return C::load(object);
        } else {
            return ConstantFactory::load(object);
        }
    }
    std::unique_ptr<Constant> ask() const override {
        if constexpr (requires { C::ask(); }) {
            return C::ask();
        } else {
            return make({});
        }
    }
};

// Rows with their factories. The program has one (below); tests make their own.
class Catalog {
  public:
    // The rows outlive it.
    explicit Catalog(std::span<const CatalogRow> rows) : rows_(rows), factories_("Duplicate Constant: ") {}

    std::span<const CatalogRow> rows() const { return rows_; }
    // nullptr for a token of no row.
    const CatalogRow* find(std::string_view token) const;
    // nullptr for a number of no row.
    const CatalogRow* find(u64 number) const;
    // nullptr: not in this version.
    const ConstantFactory* factory(const CatalogRow& row) const;
    // The tokens of the rows with factories, in their order.
    std::vector<std::string> tokens() const;

    // A second factory for a row is fatal ("Duplicate Constant: " and the token, exit code 1), and so is a
    // token of no row.
    void add(std::string_view token, const ConstantFactory& factory);
    std::unique_ptr<Constant> make(std::string_view token, std::string_view argument) const;
    std::unique_ptr<Constant> load(const Config::Object& object) const;
    // Throws InvalidParametersException for a token that is none.
    const ConstantFactory& factory_of(std::string_view token) const;

  private:
    std::span<const CatalogRow> rows_;
    Named<const ConstantFactory*> factories_;  // by the first token
};

// The program's own, filled before main().
const Catalog& catalog();
std::span<const CatalogRow> catalog_rows();

// The constant of a command line's word "token:argument", by its first algorithm. Throws
// InvalidParametersException "Invalid constant token." / "Invalid Constant: " + token, for an argument that
// the constant does not take, and what the constant says of its argument.
std::unique_ptr<Constant> make_constant(std::string_view token, std::string_view argument);
// From the whole "Constant" object of a settings file; an object in place of the token is a constant with a
// formula of its own. Throws the same, "Invalid Algorithm: " + token, and the type errors and key errors of
// Config::Object.
std::unique_ptr<Constant> load_constant(const Config::Object& object);
// What is computed before another constant is chosen.
inline constexpr std::string_view kUsualConstant = "pi";
// Every token that make_constant() takes, in the order of the rows.
std::vector<std::string> constant_tokens();
// For each row with a factory: how its constant is written on a command line ("sqrt:<n>"; "goldenratio",
// "phi"), and the words of its algorithms.
struct ConstantUse {
    std::vector<std::string> forms, algorithms;
};
std::vector<ConstantUse> constant_uses();
// Of those, whether the token may have an argument behind a colon.
bool constant_takes_argument(std::string_view token);
// The names of the rows whose constant has an extractor, with ", " between them.
std::string names_with_extractor();

void register_constant(std::string_view token, const ConstantFactory& factory);

// Registers the constant of a class under C::kToken, in a static initialiser.
template <class C>
struct ConstantRegistration {
    ConstantRegistration() {
        static const ConstantFactoryOf<C> factory;
        register_constant(C::kToken, factory);
    }
};

}  // namespace kalvor
