#include "app/session/custom_settings_object.h"

#include <string>

#include "base/errors/exceptions.h"
#include "platform/fileio/output_folder.h"
#include "platform/memory/allocator.h"

namespace kalvor {

using trel::InvalidParametersException;
using trel::Config::Object;

namespace {

void load_constant(CustomSettings& settings, const Object& object) {
    constexpr const char* kContext = "Custom Compute";
    settings.constant = make_constant(object.get_string("Constant", kContext));
    settings.constant->select_algorithm(object.get_string("Algorithm", kContext));
}

void load_size(CustomSettings& settings, const Object& object) {
    constexpr const char* kContext = "Computation Size";
    settings.set_decimal_digits(object.get_integer("DecimalDigits", kContext));
    settings.enable_hex = object.get_bool("EnableHexDigits", kContext);
}

void load_output(CustomSettings& settings, const Object& object) {
    constexpr const char* kContext = "Output Format";
    settings.path = object.get_string("Path", kContext);
    settings.output_enable = object.get_bool("OutputEnable", kContext);
    settings.digits_per_file = object.get_integer("DigitsPerFile", kContext);
    trel::FileIO::prepare_output_folder(settings.path);
    settings.check_compression();
    if (settings.digits_per_file != 0) {
        throw InvalidParametersException(
            "", "Compressed digit files are not available in this version. Use \"DigitsPerFile : 0\".");
    }
}

void check_mode(const std::string& mode) {
    if (mode == "ram") return;
    if (mode == "swap") {
        throw InvalidParametersException(
            "", "Swap mode is not available in this version. Use \"Mode : \"ram\"\".");
    }
    throw InvalidParametersException("", "Invalid Mode: " + mode);
}

}  // namespace

CustomSettings load_custom_settings(const Object& object) {
    object.check_keys({"Constant", "ComputeSize", "Output", "OutputVerify", "Mode", "Parallelism",
                       "Allocator", "Memory", "Checkpointing", "FarMemoryTuning", "FarMemoryConfig"});
    CustomSettings settings;
    load_constant(settings, object.get_object("Constant", "Custom Compute"));
    load_size(settings, object.get_object("ComputeSize", "Computation Size"));
    load_output(settings, object.get_object("Output", "Output Format"));
    settings.output_verify = object.get_bool("OutputVerify", "Custom Compute");
    check_mode(object.get_string("Mode"));
    settings.parallelism = trel::ParallelismSettings::parse(object.get("Parallelism"));
    settings.allocator = trel::make_allocator_config(object.get("Allocator"));
    return settings;
}

std::unique_ptr<Object> save_custom_settings(const CustomSettings& settings) {
    auto object = std::make_unique<Object>();
    Object& constant = object->add_object("Constant");
    constant.add_string("Constant", settings.constant->token());
    constant.add_string("Algorithm", settings.constant->algorithm_token());
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
