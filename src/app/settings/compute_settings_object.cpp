#include "app/settings/compute_settings_object.h"

#include <string>

#include "base/command_line/shown_text.h"
#include "base/config/section.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "platform/fileio/output_folder.h"
#include "platform/memory/allocator.h"

namespace kalvor {

using trel::InvalidParametersException;
using trel::Config::Object;
using trel::Config::Section;

namespace {

void load_size(ComputeSettings& settings, const Section& section) {
    constexpr const char* kContext = "Computation Size";
    section.read([&](const Object& object) {
        settings.set_decimal_digits(object.get_integer("DecimalDigits", kContext));
        settings.enable_hex = object.get_bool("EnableHexDigits", kContext);
    });
}

void load_output(ComputeSettings& settings, const Section& section) {
    constexpr const char* kContext = "Output Format";
    section.read([&](const Object& object) {
        settings.path = object.get_string("Path", kContext);
        settings.output_enable = object.get_bool("OutputEnable", kContext);
        settings.digits_per_file = object.get_integer("DigitsPerFile", kContext);
        settings.check_compression();
        if (settings.digits_per_file != 0) {
            throw InvalidParametersException(
                "", "Compressed digit files are not available in this version. Use \"DigitsPerFile : 0\".");
        }
    });
}

void check_mode(const std::string& mode) {
    if (mode == "ram") return;
    if (mode == "swap") {
        throw InvalidParametersException(
            "", "Swap mode is not available in this version. Use \"Mode : \"ram\"\".");
    }
    throw InvalidParametersException("", "Invalid Mode: " + trel::CommandLine::shown(mode));
}

}  // namespace

std::vector<std::string> known_compute_values(const std::string& key) {
    if (key == "Constant") return constant_tokens();
    if (key == "Algorithm") return make_constant(constant_tokens().front(), "")->algorithm_tokens();
    if (key == "Mode") return {"ram"};
    if (key == "Framework") return trel::framework_names();
    if (key == "Allocator") return trel::allocator_names();
    return {};
}

ComputeSettings load_compute_settings(const Object& object) {
    const Section section(object, "CustomCompute", known_compute_values);
    section.read([](const Object& o) {
        o.check_keys({"Constant", "ComputeSize", "Output", "OutputVerify", "Mode", "Parallelism", "Allocator",
                      "Memory", "Checkpointing", "FarMemoryTuning", "FarMemoryConfig"});
    });
    ComputeSettings settings;
    section.section("Constant", "Custom Compute").read([&](const Object& constant) {
        settings.constant = load_constant(constant);
    });
    load_size(settings, section.section("ComputeSize", "Computation Size"));
    load_output(settings, section.section("Output", "Output Format"));
    section.read([&](const Object& o) {
        settings.output_verify = o.get_bool("OutputVerify", "Custom Compute");
        check_mode(o.get_string("Mode"));
    });
    section.section("Parallelism", "Parallel Framework").read([&](const Object& parallelism) {
        settings.parallelism = trel::ParallelismSettings::parse(parallelism);
    });
    section.section("Allocator", "Memory Allocator").read([&](const Object& allocator) {
        settings.allocator = trel::make_allocator_config(allocator);
    });
    // Last: settings that are refused leave nothing behind.
    trel::FileIO::prepare_output_folder(settings.path);
    return settings;
}

std::unique_ptr<Object> save_compute_settings(const ComputeSettings& settings) {
    auto object = std::make_unique<Object>();
    object->add_node("Constant", settings.constant->to_config());
    Object& size = object->add_object("ComputeSize");
    size.add_integer("DecimalDigits", static_cast<trel::i64>(settings.size.decimal_digits));
    size.add_bool("EnableHexDigits", settings.enable_hex);
    Object& output = object->add_object("Output");
    output.add_string("Path", settings.path);
    output.add_bool("OutputEnable", settings.output_enable);
    output.add_integer("DigitsPerFile", settings.digits_per_file);
    object->add_bool("OutputVerify", settings.output_verify);
    object->add_string("Mode", "ram");
    object->add_node("Parallelism", std::make_unique<Object>(settings.parallelism.to_config()));
    object->add_node("Allocator", std::make_unique<Object>(trel::allocator_to_config(*settings.allocator)));
    return object;
}

}  // namespace kalvor
