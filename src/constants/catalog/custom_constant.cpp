#include "constants/catalog/custom_constant.h"

#include <utility>

#include "base/command_line/console_settings.h"
#include "base/command_line/shown_text.h"
#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "base/prompt/prompt.h"
#include "constants/catalog/catalog.h"
#include "os/path_kind.h"
#include "os/process.h"
#include "platform/fileio/settings_file.h"

namespace kalvor {
namespace {

const ConstantRegistration<CustomConstant> g_registration;

const char kFunction[] = "CustomConstant::CustomConstant()";

void print_warning(const std::string& text) {
    Console::print_line(text, 'Y');
    Console::set_color('w');
}

bool is_file(const std::string& path) {
    return os::path_kind(path) == os::PathKind::file;
}

// Empty where the system does not say.
std::string own_folder() {
    return CommandLine::directory_of(os::executable_path().value_or(""));
}

Formulas::FormulaDescription open(const std::string& path) {
    if (path.empty()) throw InvalidParametersException(kFunction, "No formula file specified.");
    const std::optional<std::string> found = Formulas::find_formula_file(path, own_folder(), is_file);
    if (!found) throw InvalidParametersException(kFunction, "File not found.");
    Console::print_line("Opening: " + CommandLine::shown_path(*found));
    const std::unique_ptr<Config::Node> file = FileIO::load_config_file(*found);
    const Config::Object& root = file->as<Config::Object>();
    root.check_keys({"Constant"});
    return Formulas::read_description(root.get_object("Constant"), print_warning);
}

}  // namespace

CustomConstant::CustomConstant(Formulas::FormulaDescription description)
    : description_(std::move(description)) {}

CustomConstant::CustomConstant(std::string_view argument) : CustomConstant(open(std::string(argument))) {}

CustomConstant::CustomConstant(const Config::Object& description)
    : CustomConstant(Formulas::read_description(description, print_warning)) {}

std::unique_ptr<Constant> CustomConstant::ask() {
    Console::print_line("Custom Constant with User-Defined Formula:\n\n", 'w');
    Console::print_line("Enter Path of Formula File:  (enter nothing to cancel)");
    Console::print_line("Examples can be found in the \"Custom Formulas\" folder.\n");
    const std::string path = Prompt::read_text("File: ", 'T');
    if (path.empty()) return nullptr;
    if (!Formulas::find_formula_file(path, own_folder(), is_file)) {
        Console::print_line("File not found.");
        return nullptr;
    }
    // A file that cannot be used does not replace what was chosen before.
    try {
        return std::make_unique<CustomConstant>(path);
    } catch (const Exception& e) {
        e.print();
    } catch (const ExpectedException& e) {
        Console::print_line(e.what());
    }
    return nullptr;
}

std::unique_ptr<Constant> CustomConstant::load(const Config::Object& object) {
    object.check_keys({"Constant"});
    return std::make_unique<CustomConstant>(object.get_object("Constant"));
}

const CatalogRow& CustomConstant::row() const {
    return *catalog().find(kToken);
}

std::vector<AlgorithmRow> CustomConstant::algorithms() const {
    return {{0, "", description_.algorithm_short, description_.algorithm_long, ""}};
}

void CustomConstant::select_algorithm(std::string_view token) {
    throw InvalidParametersException("CustomConstant::select_algorithm()",
                                     "Invalid Algorithm: " + std::string(token));
}

std::unique_ptr<Config::Object> CustomConstant::to_config() const {
    auto object = std::make_unique<Config::Object>();
    object->add_node("Constant", Formulas::write_description(description_));
    return object;
}

std::unique_ptr<Evaluator> CustomConstant::make_evaluator(const EvaluatorRequest& request) const {
    return Formulas::make_formula_evaluator(*description_.root, request);
}

}  // namespace kalvor
